// Devices that already have an option under another form.
#pragma once

#include "bootopt/UefiOptions.h"
#include "uefi/DevicePath.h"

#include <optional>

namespace kelm {

// Whether an option of UefiBootOrder boots the disk or partition that `path` names, although its
// path is another: the index of the last such option in the order. Nothing unless the setting
// Fixed_Disk_Only is "Enabled". `description` is the one that goes with the path.
std::optional<UINTN> BdsIsDuplicateBootOption(UefiOptions& options,
                                              const EFI_DEVICE_PATH_PROTOCOL* path,
                                              const CHAR16* description);

// Whether an option's device is a USB disk in a port on the front or the back.
bool BdsIsFrontBackUsbDisk(OptionCache& options, UINT16 number);

} // namespace kelm
