// Loading what a boot path leads to, with the fallback for removable media: the file
// \EFI\BOOT\BOOTX64.EFI on a file system of the device (UEFI 2.10, section 3.5.1.1).
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// LoadImage with the boot policy set. An image that the security policy refuses is unloaded again:
// *image is null with every error.
EFI_STATUS BdsLoadBootImage(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE* image);
// The same for the fallback file on the device of `path`; `ifNone`, the status of the load before,
// when no file system has one. `beforeLoad` runs when a file system has been found, and may be
// null.
EFI_STATUS BdsLoadRemovableMediaImage(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE* image,
                                      EFI_STATUS ifNone, void (*beforeLoad)() = nullptr);
// Loads what the path names, or else the fallback file. Without `image` the image is unloaded
// again: the call only tells whether the device can boot. EFI_INVALID_PARAMETER: a null path;
// otherwise the status of the last load that was tried.
EFI_STATUS BdsCheckRemovableMedia(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE* image);
// The first file system of the path's device that holds an x64 application as its fallback file;
// null when there is none. Connects the device and makes its medium current.
EFI_HANDLE BdsFindRemovableMediaFileSystem(const EFI_DEVICE_PATH_PROTOCOL* path);
// Whether that one file system holds such a file.
bool BdsHasBootableFallbackFile(EFI_HANDLE fileSystem);

} // namespace kelm
