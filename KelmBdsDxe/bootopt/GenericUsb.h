// The generic USB boot device: a device path without hardware that stands for the first external
// medium that can boot.
#pragma once

#include "uefi/DevicePath.h"

namespace kelm {

// The 24 bytes of the generic USB boot path.
const EFI_DEVICE_PATH_PROTOCOL* BdsGenericUsbBootPath();
// Installs the path on a new handle when the setting "GenericUsbBoot" is "Enabled".
void BdsInstallGenericUsbBootDevice();

} // namespace kelm
