// The BIOS boot specification table: what the legacy support knows of the devices in it.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"
#include "uefi/LegacyBios.h"

namespace kelm {

// The device path of the device that an entry describes, in new pool memory of the caller.
// EFI_NOT_FOUND: it cannot be found; EFI_OUT_OF_RESOURCES. The output is null on error.
EFI_STATUS BdsGetBbsEntryDevicePath(const BBS_TABLE* entry, EFI_DEVICE_PATH_PROTOCOL** path);

} // namespace kelm
