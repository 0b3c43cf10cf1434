// The boot device that the management controller named by a device path.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Boots the path of the setting "OneTimeUefiBootPath", and enters the boot manager when the image
// returns. EFI_SUCCESS: there is none. EFI_INVALID_PARAMETER: it is no device path, which is said
// on the screen. Otherwise the launch status.
EFI_STATUS BdsProcessAttributeBoot();

} // namespace kelm
