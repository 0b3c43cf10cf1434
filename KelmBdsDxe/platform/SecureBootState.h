// Changes of the secure-boot configuration since the last boot.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsSecureBootStateCheck();

} // namespace kelm
