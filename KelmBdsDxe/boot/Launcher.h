// Starting one boot option: the way that every boot attempt goes.
#pragma once

#include "bootopt/LoadOption.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Starts the option; returns only when the image could not be started or has returned. *option may
// be replaced by another record; the replaced one is freed then, the new one is the caller's.
// `reserved` must be null. The exit data is the image's, pool memory that the caller frees.
// EFI_INVALID_PARAMETER: no option, or `reserved` is not null. EFI_NOT_FOUND: a network boot device
// without a device behind it. kStatusPxeVlanConflict. Otherwise the status of LoadImage or of the
// image.
EFI_STATUS BdsLaunchBootOption(BootOptionRecord** option, void* reserved, UINTN* exitDataSize,
                               CHAR16** exitData);

// The same without the image's exit data.
EFI_STATUS BdsLaunch(OwnedBootOption& option);
// Launches, and reports how it went. The launch status.
EFI_STATUS BdsLaunchAndReport(OwnedBootOption& option);
// Launches Boot####. EFI_INVALID_PARAMETER: it cannot be read. Otherwise the launch status.
EFI_STATUS BdsBootByOptionNumber(UINT16 optionNumber, UINT16 deviceIndex);
// Launches an option that stands in no variable, described by the text of its path.
// EFI_INVALID_PARAMETER: the path is null or broken. EFI_OUT_OF_RESOURCES. Otherwise the launch
// status.
EFI_STATUS BdsBootByDevicePath(const EFI_DEVICE_PATH_PROTOCOL* path);

} // namespace kelm
