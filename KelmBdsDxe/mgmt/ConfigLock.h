// The lock that the controller can put on the configuration.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Asks the controller and writes ConfigLockDetect.
EFI_STATUS BdsCheckConfigLockdown();

} // namespace kelm
