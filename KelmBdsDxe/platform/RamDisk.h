// RAM disks that a download left behind.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Takes the RAM disk at `path` away and frees its memory. EFI_UNSUPPORTED: the path names no RAM
// disk; otherwise statuses of the RAM disk service, its lookup, and the memory services.
EFI_STATUS BdsCleanRamDisk(EFI_DEVICE_PATH_PROTOCOL* path);

} // namespace kelm
