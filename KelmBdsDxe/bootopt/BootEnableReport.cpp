#include "bootopt/BootEnableReport.h"

#include "bootopt/BootEnableSettings.h"
#include "bootopt/FqddMatch.h"
#include "bootopt/LastError.h"
#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"
#include "uefi/GlobalVariable.h"

namespace kelm {

namespace {

constexpr UINTN kGroupRoom = kBootEnableSettingCharacters + 1;
constexpr UINTN kJoinCharacters = 2; // counted for the comma and the NUL

// One list while it is written: its first setting until that is full, then the second.
class BootEnableGroups {
public:
    // `overflowText` is the log's for a setting that is full: it gives the setting's index, its
    // room, the place in BootOrder and the FQDD.
    BootEnableGroups(const CHAR16* stem, const char* overflowText)
        : stem_(stem), overflowText_(overflowText) {}

    // False: no setting has room for the FQDD.
    bool Add(const CHAR16* fqdd, UINTN place) {
        const UINTN length = Ucs2Length(fqdd);
        if (Current().size() + kJoinCharacters + length < kGroupRoom) {
            const EFI_STATUS status = Append(fqdd);
            DebugPrint(kDebugBds, "\nAppend [%s], %dth options to %s[%d]: %r Latest %s:\n", fqdd,
                       place, stem_, index_, status, stem_);
            DebugPrint(kDebugBds, "[%s]\n", Current());
            return true;
        }
        DebugPrint(kDebugInfo, overflowText_, index_, kGroupRoom, place, fqdd);
        DebugPrint(kDebugInfo, ", save FQDD to next group.\n");
        DebugPrint(kDebugInfo, "\nCopy to %s[%d]:\n", stem_, index_);
        DebugPrint(kDebugInfo, "[%s]\n", Current());
        // An FQDD that is longer than a whole setting is not cut: it would name other devices.
        if (index_ + 1 == kBootEnableGroups || length > kBootEnableSettingCharacters) {
            DebugPrint(kDebugError, "\nError: %s is OVERSIZE to be stroed.\n", stem_);
            return false;
        }
        ++index_;
        return !EFI_ERROR(Append(fqdd));
    }

    EFI_STATUS Write(const std::array<const CHAR16*, kBootEnableGroups>& names) const {
        LastError error;
        for (UINTN i = 0; i < kBootEnableGroups; ++i) {
            error.Note(BdsSetAttributeString(names[i], groups_[i].data()));
        }
        return error.status();
    }

private:
    std::u16string_view Current() const { return Ucs2View(groups_[index_].data()); }
    EFI_STATUS Append(const CHAR16* fqdd) {
        const EFI_STATUS status =
            Current().empty() ? EFI_SUCCESS : Ucs2Append(groups_[index_], u",");
        return EFI_ERROR(status) ? status : Ucs2Append(groups_[index_], Ucs2View(fqdd));
    }

    const CHAR16* stem_;
    const char* overflowText_;
    UINTN index_ = 0;
    std::array<std::array<CHAR16, kGroupRoom>, kBootEnableGroups> groups_{};
};

} // namespace

EFI_STATUS BdsUpdateBootOrderEnDisAttributes(OptionCache& options) {
    OptionOrder order;
    EFI_STATUS status = options.orders().Read(kBootOrderName, &gEfiGlobalVariableGuid, order);
    if (EFI_ERROR(status)) {
        return status == EFI_NOT_FOUND ? EFI_LOAD_ERROR : status;
    }
    BootEnableGroups enabled(
        kAttributeSetBootOrderEn,
        "\nBDS - Info : SetBootOrderEn[%d] string size over %d, %dth boot options[%s]");
    BootEnableGroups disabled(
        kAttributeSetBootOrderDis,
        "\nBDS - Info : SetBootOrderDis[%d] string size over %d, %dth boot options [%s]");
    for (UINTN place = 0; place < order.numbers().size(); ++place) {
        const UINT16 number = order.numbers()[place];
        PoolPtr<CHAR16> fqdd;
        status = BdsGetCachedOptionFqddText(options, number, kFqddOfOptionPlain, fqdd.out());
        if (status == EFI_OUT_OF_RESOURCES) {
            return status;
        }
        const CachedOption* option = EFI_ERROR(status) ? nullptr : options.Find(number);
        if (option == nullptr) {
            DebugPrint(kDebugError, "BDS: FQDD is not found for bootoption%d\n", number);
            continue;
        }
        BootEnableGroups& list =
            (option->view.attributes & LOAD_OPTION_ACTIVE) != 0 ? enabled : disabled;
        if (!list.Add(fqdd.get(), place)) {
            break;
        }
    }
    LastError error;
    error.Note(enabled.Write(kBootEnabledSettings));
    error.Note(disabled.Write(kBootDisabledSettings));
    DebugPrint(kDebugInfo, "BDS - After updating boot order EN/DIS attribute.\n");
    if (DebugLevelEnabled(kDebugInfo)) {
        BootEnableSettings().Dump();
    }
    return error.status();
}

} // namespace kelm
