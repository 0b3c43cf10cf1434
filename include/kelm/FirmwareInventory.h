// One line of the firmware inventory that goes to the management controller: four ASCII strings,
// owned by whoever filled the record.
#pragma once

#include "uefi/Base.h"

struct FirmwareInventoryRecord {
    const CHAR8* Fqdd;
    const CHAR8* Version;
    const CHAR8* Class;
    const CHAR8* ComponentId;
};
static_assert(sizeof(FirmwareInventoryRecord) == 4 * sizeof(void*));

inline constexpr CHAR8 kTpmInventoryFqdd[] = "TPM.Integrated.1-1";
inline constexpr CHAR8 kRaidInventoryFqdd[] = "RAID.Integrated.1-1";
