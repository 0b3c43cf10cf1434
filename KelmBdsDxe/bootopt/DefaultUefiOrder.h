// The order that the UEFI options would have if devices were ordered by kind.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Writes DefaultUefiBootOrder from the options of UefiBootOrder: by device, in the order of the
// candidates, then all others. Deletes it when there is no UefiBootOrder. The status of SetVariable
// or of the step that failed.
EFI_STATUS BdsBuildDefaultUefiBootOrder();

} // namespace kelm
