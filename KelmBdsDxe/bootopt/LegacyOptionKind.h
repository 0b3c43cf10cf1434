// Telling legacy (BIOS) boot options from others. A legacy option's path begins with a BIOS boot
// specification node, or with the vendor node that stands for the group of legacy hard disks.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// False for an option that cannot be read.
bool BdsIsLegacyOption(UINT16 optionNumber);
// The BBS device type (BBS_TYPE_*) of a legacy option; the group of hard disks has
// BBS_TYPE_HARDDRIVE. EFI_NOT_FOUND: the option cannot be read. EFI_INVALID_PARAMETER: it is no
// legacy option.
EFI_STATUS BdsGetLegacyOptionType(UINT16 optionNumber, UINT16* type);
// The number of complete device records in a legacy option; 0 with any error. Statuses as above.
EFI_STATUS BdsCountLegacyOptionRecords(UINT16 optionNumber, UINTN* count);
// The first option of an order whose type is BBS_TYPE_HARDDRIVE. EFI_NOT_FOUND: there is none, or
// no order.
EFI_STATUS BdsFindFirstLegacyHddOption(const CHAR16* orderName, const EFI_GUID* guid,
                                       UINT16* optionNumber);

} // namespace kelm
