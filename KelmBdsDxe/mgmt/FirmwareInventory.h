// The firmware inventory that the controller keeps.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsSendFqddFwInfo();

} // namespace kelm
