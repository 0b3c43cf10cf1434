// The lock that the controller can put on the configuration.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Asks the controller and writes ConfigLockDetect.
EFI_STATUS BdsCheckConfigLockdown();
// Reads ConfigLockDetect: 1 when the configuration is locked, 0 with every error. The status of
// GetVariable.
EFI_STATUS BdsGetConfigLock(UINT8* lock);
// Whether it is locked, as far as that can be read.
bool BdsIsConfigLocked();

} // namespace kelm
