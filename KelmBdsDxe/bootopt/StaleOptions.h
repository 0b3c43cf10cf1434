// Options of devices that are gone.
#pragma once

#include "bootopt/DeviceNames.h"
#include "bootopt/UefiOptions.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Whether an option that enumeration once made still fits the device on its path. With
// `checkMedia` the medium must also have something to boot.
bool BdsIsAutoOptionStillValid(const EnumerationSettings& settings, const DeviceNames& names,
                               const EFI_DEVICE_PATH_PROTOCOL* path, bool checkMedia,
                               const CHAR16* description);

// Deletes the options of UefiBootOrder that are malformed, and those that enumeration once made for
// a device that is gone or that has another option by now, and writes the order without them.
// EFI_OUT_OF_RESOURCES: a listed option is missing or cannot be read, and nothing was changed.
// EFI_NOT_FOUND: there is no order. Otherwise the status of the write.
EFI_STATUS BdsDeleteInvalidUefiBootOptions(UefiOptions& options, const DeviceNames& names);

} // namespace kelm
