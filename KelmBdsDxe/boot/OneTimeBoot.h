// Boot requests that hold for one boot.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Honours the one-time requests in their order.
EFI_STATUS BdsProcessOneTimeBoot();
// Applies the production line'"'"'s PXE setting.
EFI_STATUS BdsMfgModeSetPxe();

} // namespace kelm
