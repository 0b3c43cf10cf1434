// Placeholders: options that hold a managed disk's place in the boot order until an operating
// system on it writes an option of its own. There are any only while the setting HddPlaceholder is
// "Enabled".
#pragma once

#include "bootopt/OptionCache.h"
#include "bootopt/UefiOptions.h"
#include "uefi/DevicePath.h"

#include <optional>

namespace kelm {

// Whether the device of a path may have a placeholder, by its FQDD: a RAID disk, or a disk behind a
// boot-storage card. Logs the answer.
bool BdsIsPlaceholderDisk(const EFI_DEVICE_PATH_PROTOCOL* path);
// Whether a PCI vendor and device identity is one of a boot-storage card. Logs a hit.
bool IsKelmMotaCardVidDid(UINT16 vendorId, UINT16 deviceId);

// The next running number, which is stored: 0 when there is none yet, and 1 after 255.
UINT8 BdsGetPlaceholderNumber();
// Starts the numbers again.
void BdsForgetPlaceholderNumber();

// True when Boot#### exists and is described as a placeholder.
bool BdsIsHddPlaceholderOption(OptionCache& options, UINT16 number);

// Looks in UefiBootOrder for options on the disk with that path, but for the one option to skip.
struct ChildBootOption {
    bool found = false; // an option that goes on behind the disk: an operating system's
    bool self = false;  // an option of the disk itself
    UINTN index = 0;    // of the last child found
};
ChildBootOption BdsFindChildBootOption(UefiOptions& options, const EFI_DEVICE_PATH_PROTOCOL* disk,
                                       std::optional<UINT16> skip);
// Deletes the placeholders of the disk that `path` is, or lies on, and gives their place in
// UefiBootOrder to the new option, if there is one. True when there was a placeholder.
bool BdsReplacePlaceholder(UefiOptions& options, const EFI_DEVICE_PATH_PROTOCOL* path,
                           std::optional<UINT16> newNumber);

} // namespace kelm
