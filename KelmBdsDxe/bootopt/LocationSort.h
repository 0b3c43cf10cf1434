// Devices in the order of their location texts, as a person would count them: slot 2 before slot
// 10.
#pragma once

#include "uefi/Base.h"

namespace kelm {

struct LocatedHandle {
    EFI_HANDLE handle;
    const CHAR16* text; // null: no location; sorts behind every text
};

// Negative, 0 or positive: how a's text stands to b's. Decimal numbers in the texts compare by
// value, however long, all else by character value; a beginning sorts before the longer text.
INTN BdsCompareLocationText(const LocatedHandle& a, const LocatedHandle& b);

// Sorts `count` handles in place by the location texts of their devices; equal texts keep their
// order. A device that the location service does not know sorts under "Unknown", and one whose text
// begins with "Embedded Host Fabric" behind the other embedded devices. On error the array stays as
// it is. EFI_NOT_FOUND: no location service, a handle without a device path, or not one device has
// a location. EFI_OUT_OF_RESOURCES.
EFI_STATUS BdsSortHandlesByLocation(UINTN count, EFI_HANDLE* handles);

} // namespace kelm
