// What kind of medium a USB storage device has, and which of them are never offered for booting.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

#include <string_view>

namespace kelm {

enum class UsbStorageKind : UINT8 { None = 0, Floppy = 1, Disk = 2, Optical = 3 };

// By the device's FQDD when it is a virtual one of the controller's, otherwise by its interface and
// the answer to INQUIRY (SCSI Primary Commands). None: no mass storage, or it does not answer.
UsbStorageKind BdsGetUsbStorageKind(const EFI_DEVICE_PATH_PROTOCOL* path);

// Whether a device of that name belongs to the system and is no boot device of the user's.
bool BdsIsExcludedUsbDevice(std::u16string_view name);

} // namespace kelm
