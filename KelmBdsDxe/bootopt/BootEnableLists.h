// Enabling and disabling boot options by device. Options are matched and changed through the
// caller's cache.
#pragma once

#include "bootopt/OptionCache.h"
#include "uefi/Base.h"

namespace kelm {

// What the options of a device shall be. A list of these ends with one without an FQDD.
struct BootEnablePair {
    const CHAR16* Fqdd;
    UINT8 Enable; // 1: enabled, 0: disabled
};

// Enables and disables options of the boot mode's order as two texts say: FQDDs between commas,
// perhaps with blanks around them. EFI_INVALID_PARAMETER: both are empty, or one item is invalid;
// then nothing is changed. EFI_OUT_OF_RESOURCES. Otherwise as BdsLibSetBootOrderEnDis.
EFI_STATUS BdsProcessBootEnDisAttributes(const CHAR16* enabled, const CHAR16* disabled,
                                         OptionCache& options);
// Gives each option of an order the state of the most specific item of the list that names it;
// options that none names keep theirs. Sorts the list. EFI_NOT_FOUND: the order is missing or
// empty. EFI_OUT_OF_RESOURCES, and nothing is changed. Otherwise the last failure to write an
// option.
EFI_STATUS BdsLibSetBootOrderEnDis(BootEnablePair* list, const CHAR16* orderName,
                                   const EFI_GUID* guid, OptionCache& options);
// Brings more specific FQDDs before less specific ones. EFI_LOAD_ERROR: it took too many passes;
// the list is whole, and sorted as far as it got.
EFI_STATUS FqddListSortBySpecific(BootEnablePair* list, UINTN count);

} // namespace kelm
