// The order that the UEFI options would have if devices were ordered by kind.
#pragma once

#include "uefi/Base.h"

namespace kelm {

class OptionCache;

// Writes DefaultUefiBootOrder from the options of UefiBootOrder: by device, in the order of the
// candidates, then all others. Deletes it when there is no UefiBootOrder. The status of SetVariable
// or of the step that failed.
EFI_STATUS BdsBuildDefaultUefiBootOrder();
// The same with options from a cache.
EFI_STATUS BdsBuildDefaultUefiBootOrder(OptionCache& options);

} // namespace kelm
