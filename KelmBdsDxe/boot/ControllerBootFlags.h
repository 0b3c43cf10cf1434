// The boot flags of the management controller (IPMI system boot options, parameter 5).
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Reads them once a boot.
EFI_STATUS BdsReadControllerBootFlags();
// Clears them at the controller.
EFI_STATUS BdsClearControllerBootFlags();

} // namespace kelm
