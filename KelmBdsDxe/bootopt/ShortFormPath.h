// Short-form device paths (UEFI 2.10, section 3.1.2) made full, so that they can be booted.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// The full path of a path that begins with a hard-drive media node: that of the partition with the
// same signature, and the nodes behind the short path's first one. Where the partition was last
// found is tried first; otherwise all controllers are connected. What is found is remembered.
// Null when there is no such partition, when the path begins with another node or its node has no
// signature, or when memory is out.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL>
BdsExpandHddShortFormPath(const EFI_DEVICE_PATH_PROTOCOL* shortPath);

} // namespace kelm
