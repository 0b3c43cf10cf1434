// The permission for network drivers to connect: a volatile variable that they look at.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Network drivers may make connections from now on, or no longer. The status of SetVariable.
EFI_STATUS BdsAllowNetworkConnection();
EFI_STATUS BdsDisallowNetworkConnection();

} // namespace kelm
