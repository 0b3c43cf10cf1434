// Options that enumeration makes for devices, and takes away again. They carry
// kLoadOptionEnumerated; an option without that mark is never replaced or deleted here.
#pragma once

#include "bootopt/UefiOptions.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Writes an option for a path that no option of UefiBootOrder has, or gives the one that has it
// another description; it goes into no order. EFI_SUCCESS: a new option, with its number.
// EFI_ALREADY_STARTED: an option of that path is there, perhaps renamed. Otherwise the status of
// what failed: no free number, no memory, SetVariable.
EFI_STATUS BdsCreateUefiBootOption(UefiOptions& options, const EFI_DEVICE_PATH_PROTOCOL* path,
                                   const CHAR16* description, UINT16* number);
// The same for the device path of a handle. EFI_NOT_FOUND: it has none.
EFI_STATUS BdsCreateBootOptionForHandle(UefiOptions& options, EFI_HANDLE handle,
                                        const CHAR16* description, UINT16* number);

// Deletes the first option of that path and takes it out of UefiBootOrder. EFI_NOT_FOUND: there is
// none, or no order. EFI_OUT_OF_RESOURCES: an option that is listed before it cannot be read.
// Otherwise the status of the deletion or of the write.
EFI_STATUS BdsDeleteBootOptionForDevicePath(UefiOptions& options,
                                            const EFI_DEVICE_PATH_PROTOCOL* path);
// The same for the device path of a handle; EFI_NOT_FOUND also when it has none. A placeholder
// stays as long as there are placeholders.
EFI_STATUS BdsDeleteBootOptionForHandle(UefiOptions& options, EFI_HANDLE handle);

// Publishes the path of the shell in a firmware volume and makes an option for it. EFI_NOT_FOUND:
// the volume has no path, or there must be no such option (an old one is deleted). Otherwise as
// BdsCreateUefiBootOption.
EFI_STATUS BdsCreateSystemUefiShellOption(UefiOptions& options, EFI_HANDLE volume, UINT16* number);

// The path of the shell in a firmware volume; null when the volume has no path or memory is out.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL> BdsShellPathOf(EFI_HANDLE volume);

} // namespace kelm
