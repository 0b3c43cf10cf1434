// The orders that setup restores for legacy options and for the disks among them.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Writes DefaultLegacyBootOrder and DefaultBcvBootOrder from the BBS table and LegacyBootOrder.
EFI_STATUS BdsBuildDefaultLegacyOrders();
// Gives the first legacy hard-disk option of an order the device order of DefaultBcvBootOrder.
// EFI_SUCCESS when there is no such option or no such order.
EFI_STATUS BdsApplyDefaultLegacyHddOrder(const CHAR16* orderName, const EFI_GUID* guid);

} // namespace kelm
