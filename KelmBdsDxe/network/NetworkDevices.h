// What the settings say of the network boot devices of the boot order.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Whether the device with that placeholder path is enabled; false for any other path.
bool IsNetworkDeviceEnabled(const EFI_DEVICE_PATH_PROTOCOL* placeholder);
// A new copy of the FQDD of the port that an interface setting ("PxeDev1Interface") names.
// EFI_NOT_FOUND: it names none, or one that is not there.
EFI_STATUS BdsGetUefiNetworkNicAttributeFqdd(const CHAR16* attribute, CHAR16** fqdd);

} // namespace kelm
