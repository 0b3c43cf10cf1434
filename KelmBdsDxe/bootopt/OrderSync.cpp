#include "bootopt/BootOrder.h"
#include "bootopt/OptionCache.h"
#include "core/DriverState.h"
#include "kelm/AttributeNames.h"
#include "kelm/DebugLevels.h"
#include "kelm/Variables.h"
#include "legacy/LegacyDefaultOrders.h"
#include "library/firmware/Debug.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"
#include "uefi/GlobalVariable.h"

#include <algorithm>
#include <array>

namespace kelm {

namespace {

enum class OrderKind { Uefi, Legacy, Mixed };

// The order goes last: as long as it is there, the next boot can finish the work.
void DeleteOrderAndOptions(OptionCache& options, const KelmVariable& variable) {
    OptionOrder order;
    const EFI_STATUS status = options.orders().Read(variable, order);
    if (EFI_ERROR(status) && status != EFI_NOT_FOUND) {
        return;
    }
    for (const UINT16 number : order.numbers()) {
        static_cast<void>(options.Delete(number));
    }
    static_cast<void>(options.orders().Delete(variable));
}

// Whether an operating system may add to the system's own order but not change it. A setting that
// is there and cannot be read is taken for a yes, which takes nothing away. EFI_OUT_OF_RESOURCES:
// no memory to read it.
EFI_STATUS ReadProtection(bool& isProtected) {
    isProtected = false;
    if (gDriver.boot.bootMode != kBootModeUefi) {
        return EFI_SUCCESS;
    }
    PoolPtr<CHAR16> access;
    const EFI_STATUS status = BdsGetAttributeString(kAttributeUefiVariableAccess, access.out());
    isProtected = EFI_ERROR(status) ? status != EFI_NOT_FOUND
                                    : Ucs2View(access.get()) == kAttributeControlled;
    return status == EFI_OUT_OF_RESOURCES ? status : EFI_SUCCESS;
}

// An option that cannot be read is of no kind.
OrderKind KindOf(OptionCache& options, std::span<const UINT16> numbers, bool isProtected) {
    bool uefi = false;
    bool legacy = false;
    for (const UINT16 number : numbers) {
        if (const CachedOption* option = options.Find(number)) {
            (option->IsLegacy() ? legacy : uefi) = true;
        }
        if (uefi && legacy) {
            break;
        }
    }
    if ((uefi && legacy) || isProtected) {
        DebugPrint(kDebugInfo, "BDS: Sync BootOrder.Mixed BootOptions mode.\n");
        return OrderKind::Mixed;
    }
    return legacy ? OrderKind::Legacy : OrderKind::Uefi;
}

// Whether an order without anything equal to the option wants it.
bool IsNewUefiOption(OptionCache& options, UINT16 number, std::span<const UINT16> listed) {
    if (options.IsMissing(number)) {
        return false;
    }
    const CachedOption* option = options.Find(number);
    if (option == nullptr) {
        // It cannot be compared, but is not to be lost.
        return std::ranges::find(listed, number) == listed.end();
    }
    return !option->IsLegacy() && std::ranges::none_of(listed, [&](UINT16 listedNumber) {
        const CachedOption* other = options.Find(listedNumber);
        return other != nullptr && BdsAreOptionsEqual(*other, *option);
    });
}

EFI_STATUS AppendNewUefiOptions(OptionCache& options, std::span<const UINT16> bootOrder) {
    OptionOrder order;
    const EFI_STATUS status = options.orders().Read(kVariableUefiBootOrder, order);
    if (EFI_ERROR(status) && status != EFI_NOT_FOUND) {
        return status;
    }
    const std::span<const UINT16> old = order.numbers();
    if (old.size() > kMaxOrderEntries) {
        return EFI_SUCCESS;
    }
    std::array<UINT16, kMaxOrderEntries> wanted;
    UINTN count = 0;
    // What has lost its option goes: it would keep the stale options of this order for ever.
    for (const UINT16 number : old) {
        if (!options.IsMissing(number)) {
            wanted[count++] = number;
        }
    }
    for (const UINT16 number : bootOrder) {
        if (count < wanted.size() &&
            IsNewUefiOption(options, number, std::span(wanted).first(count))) {
            wanted[count++] = number;
        }
    }
    const std::span<const UINT16> numbers = std::span(wanted).first(count);
    return std::ranges::equal(numbers, old)
               ? EFI_SUCCESS
               : options.orders().Write(kVariableUefiBootOrder, numbers);
}

EFI_STATUS ApplyDefaultOrder() {
    const bool bios = gDriver.boot.bootMode == kBootModeBios;
    OptionCache options;
    OptionOrder order;
    EFI_STATUS status = options.orders().Read(
        bios ? kVariableDefaultLegacyBootOrder : kVariableDefaultUefiBootOrder, order);
    if (!EFI_ERROR(status)) {
        status = options.orders().Write(kBootOrderName, &gEfiGlobalVariableGuid, order.numbers());
        if (!EFI_ERROR(status)) {
            status = BdsSyncBootOrder(options);
        }
    }
    if (bios) {
        static_cast<void>(BdsApplyDefaultLegacyHddOrder(kBootOrderName, &gEfiGlobalVariableGuid));
    }
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
}

} // namespace

const KelmVariable& BdsModeOrder() {
    return gDriver.boot.bootMode == kBootModeBios ? kVariableLegacyBootOrder
                                                  : kVariableUefiBootOrder;
}

EFI_STATUS BdsSyncBootOrder() {
    OptionCache options;
    return BdsSyncBootOrder(options);
}

EFI_STATUS BdsSyncBootOrder(OptionCache& options) {
    OptionOrder order;
    const EFI_STATUS status = options.orders().Read(kBootOrderName, &gEfiGlobalVariableGuid, order);
    if (status == EFI_NOT_FOUND) {
        DeleteOrderAndOptions(options, kVariableUefiBootOrder);
        DeleteOrderAndOptions(options, kVariableLegacyBootOrder);
        return EFI_SUCCESS;
    }
    bool isProtected = false;
    const EFI_STATUS known = EFI_ERROR(status) ? status : ReadProtection(isProtected);
    if (EFI_ERROR(known)) {
        return known;
    }
    switch (KindOf(options, order.numbers(), isProtected)) {
    case OrderKind::Uefi:
        return options.orders().Write(kVariableUefiBootOrder, order.numbers());
    case OrderKind::Legacy:
        return options.orders().Write(kVariableLegacyBootOrder, order.numbers());
    default:
        return AppendNewUefiOptions(options, order.numbers());
    }
}

EFI_STATUS BdsSetBootOrderFromModeOrder() {
    OrderCache orders;
    return BdsSetBootOrderFromModeOrder(orders);
}

EFI_STATUS BdsSetBootOrderFromModeOrder(OrderCache& orders) {
    OptionOrder order;
    const EFI_STATUS status = orders.Read(BdsModeOrder(), order);
    if (status == EFI_NOT_FOUND) {
        const EFI_STATUS deleted = orders.Delete(kBootOrderName, &gEfiGlobalVariableGuid);
        return deleted == EFI_NOT_FOUND ? EFI_SUCCESS : deleted;
    }
    return EFI_ERROR(status)
               ? status
               : orders.Write(kBootOrderName, &gEfiGlobalVariableGuid, order.numbers());
}

EFI_STATUS BdsApplyBootOrderDefaults() {
    UINT8 wanted = 0;
    if (EFI_ERROR(BdsGetAttributeByte(kAttributeApplyBootOrderDefaults, &wanted)) || wanted == 0) {
        return EFI_SUCCESS;
    }
    const EFI_STATUS status = ApplyDefaultOrder();
    const EFI_STATUS cleared = BdsSetAttributeByte(kAttributeApplyBootOrderDefaults, 0);
    return EFI_ERROR(status) ? status : cleared;
}

} // namespace kelm
