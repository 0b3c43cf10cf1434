// The service tag check and easy restore.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsCheckServiceTag();

} // namespace kelm
