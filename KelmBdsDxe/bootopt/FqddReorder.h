// Putting what FQDD settings name first: in an order of boot options, and among the devices inside
// a legacy hard-disk option.
//
// An order that cannot be read, built or written for want of memory stays as it was.
#pragma once

#include "bootopt/FqddSettings.h"
#include "bootopt/FqddTexts.h"
#include "uefi/Base.h"

namespace kelm {

// Rewrites an order variable: what the settings name, list by list, then the rest. A missing order
// stays missing, and that is EFI_SUCCESS. EFI_OUT_OF_RESOURCES; otherwise the status of GetVariable
// or SetVariable.
EFI_STATUS BdsReorderByFqdds(const CHAR16* orderName, const EFI_GUID* guid,
                             const FqddSettings& settings, FqddTexts& texts);

// The same for the devices inside the first legacy hard-disk option of an order. Without such an
// option, or without a valid list, there is nothing to do. Otherwise the status of the step that
// failed.
EFI_STATUS BdsReorderLegacyHdds(const CHAR16* orderName, const EFI_GUID* guid,
                                const FqddSettings& settings);

// Takes the devices that the settings name out of the first legacy hard-disk option of BootOrder.
// Nothing to do and statuses as above.
EFI_STATUS BdsRemoveFqddFromBcvList(const FqddSettings& settings);

} // namespace kelm
