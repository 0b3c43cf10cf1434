// Keeping BootOrder, UefiBootOrder and LegacyBootOrder consistent: the steps of
// EnumerateBootOptions.
#pragma once

#include "uefi/Base.h"

struct KelmVariable;

namespace kelm {

class OptionCache;
class OrderCache;

// The order of the boot mode: UefiBootOrder, in BIOS mode LegacyBootOrder.
const KelmVariable& BdsModeOrder();

// Removes repeated, dangling and duplicate entries from BootOrder, options that no order names, and
// options of the wrong kind from LegacyBootOrder.
void BdsBootOrderSanityCheck();
// Brings the order of the boot mode in line with BootOrder. The status of a failed write of an
// order, else EFI_SUCCESS.
EFI_STATUS BdsSyncBootOrder();
// The same with options from a cache.
EFI_STATUS BdsSyncBootOrder(OptionCache& options);
// Rewrites BootOrder from the order of the boot mode; a missing one deletes BootOrder.
EFI_STATUS BdsSetBootOrderFromModeOrder();
// The same with orders from a cache.
EFI_STATUS BdsSetBootOrderFromModeOrder(OrderCache& orders);
// Puts the default order into BootOrder when a setting asks for it once.
EFI_STATUS BdsApplyBootOrderDefaults();
// Shows an order in the log.
void BdsDumpBootOrder(const CHAR16* name, const EFI_GUID* guid);

} // namespace kelm
