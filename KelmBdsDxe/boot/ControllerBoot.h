// The boot option that the management controller's boot flags name.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsBootIpmiBootOption();
// Puts the option of a persistent request first in the boot order.
EFI_STATUS BdsApplyPersistentControllerBootRequest();

} // namespace kelm
