#include "bootopt/BootEnableSettings.h"
#include "bootopt/BootOrder.h"
#include "bootopt/DefaultUefiOrder.h"
#include "bootopt/FqddAttributes.h"
#include "bootopt/FqddReorder.h"
#include "bootopt/LastError.h"
#include "core/DriverState.h"
#include "kelm/AttributeNames.h"
#include "kelm/DebugLevels.h"
#include "kelm/Variables.h"
#include "legacy/LegacyDefaultOrders.h"
#include "library/firmware/Debug.h"
#include "uefi/GlobalVariable.h"

namespace kelm {

namespace {

bool IsBiosMode() {
    return gDriver.boot.bootMode == kBootModeBios;
}

// Deletes every option of BootOrder that a list names, and gives the orders without them.
EFI_STATUS DeleteBlackListedOptions(const FqddSettings& blackList, OptionCache& options,
                                    FqddTexts& texts) {
    OptionOrder order;
    OrderCache& orders = options.orders();
    const EFI_STATUS status = orders.Read(kBootOrderName, &gEfiGlobalVariableGuid, order);
    if (EFI_ERROR(status)) {
        return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
    }
    LastError error;
    std::span<UINT16> remaining = order.numbers();
    static_cast<void>(blackList.ForEachList([&](const CHAR16* list) {
        UINTN kept = 0;
        for (const UINT16 number : remaining) {
            if (texts.IsMatching(list, number)) {
                error.Note(options.Delete(number));
            } else {
                remaining[kept++] = number;
            }
        }
        remaining = remaining.first(kept);
        return EFI_SUCCESS;
    }));
    error.Note(orders.Write(kBootOrderName, &gEfiGlobalVariableGuid, remaining));
    const EFI_STATUS synced = BdsSyncBootOrder(options);
    error.Note(synced);
    error.Note(BdsRemoveFqddFromBcvList(blackList));
    // The mode's order that could not be written is no longer what BootOrder says.
    if (!EFI_ERROR(synced)) {
        error.Note(BdsSetBootOrderFromModeOrder(orders));
    }
    error.Note(IsBiosMode() ? BdsBuildDefaultLegacyOrders()
                            : BdsBuildDefaultUefiBootOrder(options));
    return error.status();
}

EFI_STATUS ReorderBootOrder(const FqddSettings& wanted, OptionCache& options, FqddTexts& texts) {
    LastError error;
    error.Note(wanted.status());
    EFI_STATUS status = BdsReorderByFqdds(kBootOrderName, &gEfiGlobalVariableGuid, wanted, texts);
    // An order that the mode's order does not follow is overwritten with that one.
    if (!EFI_ERROR(status)) {
        status = BdsSyncBootOrder(options);
    }
    error.Note(EFI_ERROR(status) ? status : wanted.Empty());
    return error.status();
}

EFI_STATUS ReorderLegacyHdds() {
    const FqddSettings wanted(kAttributeSetLegacyHddOrderFqdd, kFqddAttributeCount);
    LastError error;
    error.Note(wanted.status());
    const EFI_STATUS status = BdsReorderLegacyHdds(kBootOrderName, &gEfiGlobalVariableGuid, wanted);
    error.Note(status);
    if (status != EFI_OUT_OF_RESOURCES) {
        error.Note(wanted.Empty());
    }
    return error.status();
}

EFI_STATUS ReorderDefaults(const FqddSettings& wanted, FqddTexts& texts) {
    const KelmVariable& order =
        IsBiosMode() ? kVariableDefaultLegacyBootOrder : kVariableDefaultUefiBootOrder;
    LastError error;
    error.Note(wanted.status());
    error.Note(BdsReorderByFqdds(order.name, order.guid, wanted, texts));
    return error.status();
}

EFI_STATUS ReorderDefaultLegacyHdds(OptionCache& options) {
    const FqddSettings wanted(kAttributeDefaultLegacyHddOrderFqdd, kFqddAttributeCount);
    FqddTexts texts(options, kFqddOfBbs);
    LastError error;
    error.Note(wanted.status());
    error.Note(BdsReorderByFqdds(kVariableDefaultBcvBootOrder.name,
                                 kVariableDefaultBcvBootOrder.guid, wanted, texts));
    return error.status();
}

} // namespace

EFI_STATUS BdsProcessFqddBootOrderAttributes() {
    const FqddSettings wanted(kAttributeSetBootOrderFqdd, kFqddAttributeCount);
    const FqddSettings defaults(kAttributeDefaultBootOrderFqdd, kFqddAttributeCount);
    const FqddSettings blackList(kAttributeBootOrderBlackListFqdd, kFqddAttributeCount);
    DebugPrint(kDebugInfo, "BDS: The following FQDD bootorder attributes are set:\n");
    for (const FqddSettings* settings : {&wanted, &defaults, &blackList}) {
        settings->Log();
    }
    OptionCache options;
    FqddTexts texts(options, kFqddOfOption);
    LastError error;
    error.Note(blackList.status());
    error.Note(DeleteBlackListedOptions(blackList, options, texts));
    error.Note(ReorderBootOrder(wanted, options, texts));
    error.Note(ReorderLegacyHdds());
    error.Note(ReorderDefaults(defaults, texts));
    error.Note(ReorderDefaultLegacyHdds(options));
    error.Note(BdsProcessBootEnableSettings(options));
    return error.status();
}

} // namespace kelm
