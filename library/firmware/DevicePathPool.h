// Device paths in pool memory. Every result is new memory that its PoolPtr owns; null means that
// the source was null or broken, or that memory was out.
#pragma once

#include "library/firmware/Pool.h"
#include "library/pure/DevicePath.h"
#include "library/pure/DevicePathText.h"

namespace kelm {

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> DuplicateDevicePath(const EFI_DEVICE_PATH_PROTOCOL* path);
// The path of a device with the rest of another path behind it.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL> AppendDevicePaths(const EFI_DEVICE_PATH_PROTOCOL* first,
                                                    const EFI_DEVICE_PATH_PROTOCOL* second);
// The path of a file on a device: the device's path and a file path node.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL> FileDevicePath(const EFI_DEVICE_PATH_PROTOCOL* device,
                                                 const CHAR16* fileName);
// The path that a text names; null also when the text is no device path.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL> DevicePathOfText(const CHAR16* text);
// The text of a path, NUL-terminated.
PoolPtr<CHAR16> DevicePathText(const EFI_DEVICE_PATH_PROTOCOL* path,
                               const DevicePathTextOptions& options = {});

} // namespace kelm
