// What kind of device a boot option's path leads to.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// The type of the device path node that tells, and what it tells.
enum class BootType : UINT32 {
    Floppy = 0x0201,
    Atapi = 0x0301,
    Scsi = 0x0302,
    Usb = 0x0305,
    MessagingVendor = 0x030A,
    Network = 0x030B,
    Sata = 0x0312,
    MessagingOther = 0x03FF,
    HardDrive = 0x0401,
    CdRom = 0x0402,
    Bbs = 0x0501,
    Unknown = 0xFFFF,
};

// The answer of the first node that tells something: a messaging node does only when it ends the
// path, but for one logical unit node behind it. BootType::Unknown for a null path and when no node
// tells.
BootType BdsGetBootType(const EFI_DEVICE_PATH_PROTOCOL* path);

} // namespace kelm
