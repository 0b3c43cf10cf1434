// The firmware inventory that the controller keeps.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsSendFqddFwInfo();
// Collects the configuration inventory and builds its table anew, once a boot.
EFI_STATUS BdsRebuildInventory();

} // namespace kelm
