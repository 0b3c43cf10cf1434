#include "bootopt/BootOrder.h"
#include "bootopt/FqddAttributes.h"
#include "bootopt/FqddReorder.h"
#include "bootopt/LastError.h"
#include "bootopt/OrderVariable.h"
#include "kelm/AttributeNames.h"
#include "kelm/DebugLevels.h"
#include "kelm/Variables.h"
#include "legacy/LegacyDefaultOrders.h"
#include "library/firmware/Debug.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"

namespace kelm {

namespace {

constexpr bool kLegacySupport = false; // of this system

constexpr std::u16string_view kSequenceUefi = u"Uefi";
constexpr std::u16string_view kSequenceBios = u"Bios";
constexpr std::u16string_view kSequenceBoth = u"Both";

// A missing default leaves the order alone.
EFI_STATUS CopyOrder(OrderCache& orders, const KelmVariable& from, const KelmVariable& to) {
    OptionOrder order;
    const EFI_STATUS status = orders.Read(from, order);
    if (EFI_ERROR(status)) {
        return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
    }
    return orders.Write(to, order.numbers());
}

} // namespace

EFI_STATUS BdsProcessInternalFqddOrderAttributes() {
    const FqddSettings uefi(kAttributeIntrnlSetUefiBootOrderFqdd, kInternalOrderFqddAttributeCount);
    DebugPrint(kDebugInfo, "BDS: The following Internal FQDD bootorder attributes are set:\n");
    uefi.Log();
    const FqddSettings legacy(kAttributeIntrnlSetLegacyBootOrderFqdd,
                              kInternalOrderFqddAttributeCount);
    const FqddSettings disks(kAttributeIntrnlSetLegacyHddOrderFqdd,
                             kInternalHddOrderFqddAttributeCount);
    OptionCache options;
    FqddTexts texts(options, kFqddOfOption);
    LastError error;
    error.Note(uefi.status());
    const EFI_STATUS uefiStatus =
        BdsReorderByFqdds(kVariableUefiBootOrder.name, kVariableUefiBootOrder.guid, uefi, texts);
    error.Note(uefiStatus);
    error.Note(legacy.status());
    const EFI_STATUS legacyStatus = BdsReorderByFqdds(kVariableLegacyBootOrder.name,
                                                      kVariableLegacyBootOrder.guid, legacy, texts);
    error.Note(legacyStatus);
    const EFI_STATUS bootOrderStatus = BdsSetBootOrderFromModeOrder(options.orders());
    error.Note(bootOrderStatus);
    // The next boot takes BootOrder for the truth. Until it holds the new order, the settings are
    // all that remembers what was asked for.
    if (!EFI_ERROR(bootOrderStatus)) {
        error.Note(EFI_ERROR(uefiStatus) ? EFI_SUCCESS : uefi.Empty());
        error.Note(EFI_ERROR(legacyStatus) ? EFI_SUCCESS : legacy.Empty());
    }
    error.Note(disks.status());
    const EFI_STATUS disksStatus =
        BdsReorderLegacyHdds(kVariableLegacyBootOrder.name, kVariableLegacyBootOrder.guid, disks);
    error.Note(disksStatus);
    if (disksStatus != EFI_OUT_OF_RESOURCES) {
        error.Note(disks.Empty());
    }
    return error.status();
}

EFI_STATUS BdsApplyBootSeqDefault() {
    PoolPtr<CHAR16> value;
    const EFI_STATUS status = BdsGetAttributeString(kAttributeIntrnlSetBootSeqDefault, value.out());
    if (status == EFI_OUT_OF_RESOURCES) {
        return status;
    }
    if (EFI_ERROR(status)) {
        static_cast<void>(BdsSetAttributeString(kAttributeIntrnlSetBootSeqDefault, kAttributeNone));
        return EFI_NOT_FOUND;
    }
    DebugPrint(kDebugInfo, "BDS: bootorder attribute:%s=%s\n", kAttributeIntrnlSetBootSeqDefault,
               value.get());
    const std::u16string_view sequence = Ucs2View(value.get());
    if (sequence == kAttributeNone) {
        return EFI_SUCCESS;
    }
    OrderCache orders;
    LastError error;
    EFI_STATUS disksStatus = EFI_SUCCESS;
    if (sequence == kSequenceBios || sequence == kSequenceBoth) {
        error.Note(CopyOrder(orders, kVariableDefaultLegacyBootOrder, kVariableLegacyBootOrder));
        disksStatus = BdsApplyDefaultLegacyHddOrder(kVariableLegacyBootOrder.name,
                                                    kVariableLegacyBootOrder.guid);
    }
    if (sequence == kSequenceUefi || sequence == kSequenceBoth) {
        error.Note(CopyOrder(orders, kVariableDefaultUefiBootOrder, kVariableUefiBootOrder));
    }
    error.Note(BdsSetBootOrderFromModeOrder(orders));
    // An order that could not be read or written is asked for again in the next boot.
    if (EFI_ERROR(error.status())) {
        return error.status();
    }
    const EFI_STATUS emptied =
        BdsSetAttributeString(kAttributeIntrnlSetBootSeqDefault, kAttributeNone);
    return EFI_ERROR(emptied) ? emptied : disksStatus;
}

bool BdsIsLegacyOrderRequested() {
    if (!kLegacySupport) {
        return false;
    }
    if (BdsIsAnyFqddSettingSet(kAttributeIntrnlSetLegacyBootOrderFqdd,
                               kInternalOrderFqddAttributeCount) ||
        BdsIsAnyFqddSettingSet(kAttributeIntrnlSetLegacyHddOrderFqdd,
                               kInternalHddOrderFqddAttributeCount)) {
        return true;
    }
    PoolPtr<CHAR16> value;
    if (EFI_ERROR(BdsGetAttributeString(kAttributeIntrnlSetBootSeqDefault, value.out()))) {
        return false;
    }
    const std::u16string_view sequence = Ucs2View(value.get());
    return sequence == kSequenceBios || sequence == kSequenceBoth;
}

bool BdsIsUefiOrderRequested() {
    return BdsIsAnyFqddSettingSet(kAttributeIntrnlSetUefiBootOrderFqdd,
                                  kInternalOrderFqddAttributeCount);
}

} // namespace kelm
