// Device paths in pool memory. Every result is new memory that its PoolPtr owns; null means that
// the source was null or broken, or that memory was out.
#pragma once

#include "library/firmware/Pool.h"
#include "library/pure/DevicePath.h"
#include "library/pure/DevicePathText.h"

namespace kelm {

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> DuplicateDevicePath(const EFI_DEVICE_PATH_PROTOCOL* path);
// The text of a path, NUL-terminated.
PoolPtr<CHAR16> DevicePathText(const EFI_DEVICE_PATH_PROTOCOL* path,
                               const DevicePathTextOptions& options = {});

} // namespace kelm
