// The disks of the iSCSI boot device.
#pragma once

#include "uefi/DevicePath.h"

namespace kelm {

// Whether a path leads to a disk of one of the configured connections.
bool IsIscsiBootDiskPath(const EFI_DEVICE_PATH_PROTOCOL* path);
// The path of the first fixed block device that is such a disk; null when there is none. The handle
// database's own.
const EFI_DEVICE_PATH_PROTOCOL* BdsFindIscsiBootFileSystem();

} // namespace kelm
