// How values stand in a trace: GUIDs in upper case registry form, statuses by name, names in UTF-8.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

#include <string>

namespace sim {

std::string GuidText(const EFI_GUID& guid);
// "EFI_NOT_FOUND"; a status without a name as "0x8000000000000ABC".
std::string StatusText(EFI_STATUS status);
// "0x12AB".
std::string HexNumber(UINT64 value);
// The text of a device path, in the form that machine files use; empty for nullptr.
std::string DevicePathText(const EFI_DEVICE_PATH_PROTOCOL* path);

} // namespace sim
