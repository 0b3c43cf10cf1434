// The USB port setting, shared with the controller.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsSendUsbConfig();

} // namespace kelm
