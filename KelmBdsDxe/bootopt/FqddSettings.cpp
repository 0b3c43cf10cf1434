#include "bootopt/FqddSettings.h"

#include "bootopt/FqddMatch.h"
#include "bootopt/LastError.h"
#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"

#include <algorithm>

namespace kelm {

namespace {

using SettingName = std::array<CHAR16, 48>;

SettingName MakeName(const CHAR16* stem, UINTN index) {
    SettingName name;
    FormatUcs2(std::span<CHAR16>(name), "%s%d", stem, index);
    return name;
}

} // namespace

EFI_STATUS BdsReadFqddSetting(const CHAR16* stem, UINTN index, PoolPtr<CHAR16>& value) {
    const EFI_STATUS status = BdsGetAttributeString(MakeName(stem, index).data(), value.out());
    if (!EFI_ERROR(status) && Ucs2Length(value.get()) > kFqddSettingCharacters) {
        value[kFqddSettingCharacters] = u'\0';
    }
    return status;
}

bool BdsIsAnyFqddSettingSet(const CHAR16* stem, UINTN count) {
    for (UINTN index = 1; index <= count; ++index) {
        PoolPtr<CHAR16> value;
        if (!EFI_ERROR(BdsReadFqddSetting(stem, index, value)) && value[0] != u'\0') {
            return true;
        }
    }
    return false;
}

FqddSettings::FqddSettings(const CHAR16* stem, UINTN count)
    : stem_(stem), count_(std::min(count, kMost)) {
    for (UINTN i = 0; i < count_; ++i) {
        Setting& setting = settings_[i];
        const EFI_STATUS status = BdsReadFqddSetting(stem, i + 1, setting.value);
        if (status == EFI_OUT_OF_RESOURCES) {
            status_ = status;
            return;
        }
        if (IsEmpty(i)) {
            continue;
        }
        setting.valid = !EFI_ERROR(status) && BdsIsFqddListValid(setting.value.get());
        if (!setting.valid) {
            status_ = EFI_INVALID_PARAMETER;
        }
    }
}

void FqddSettings::Log() const {
    for (UINTN i = 0; i < count_; ++i) {
        if (Text(i) != nullptr && !IsEmpty(i)) {
            DebugPrint(kDebugInfo, "BDS: FQDD bootorder attribute:%s%d=%s\n", stem_, i + 1,
                       Text(i));
        }
    }
}

bool FqddSettings::HasLists() const {
    return std::any_of(settings_.begin(), settings_.end(),
                       [](const Setting& setting) { return setting.valid; });
}

EFI_STATUS FqddSettings::Empty() const {
    if (!AreKnown()) {
        return status_;
    }
    LastError error;
    // The last one first: when the power fails in between, the next boot applies the lists that are
    // left to an order in which their devices already lead in this very sequence, and changes
    // nothing. With the first one gone and the others left, the devices that it named would fall
    // behind theirs. (A device that a later, more specific list took over from an earlier one, past
    // a list in between, goes back to the earlier one's then: no sequence spares it that.)
    for (UINTN i = count_; i-- > 0;) {
        if (IsEmpty(i)) {
            continue;
        }
        error.Note(BdsSetAttributeString(MakeName(stem_, i + 1).data(), u""));
    }
    return error.status();
}

} // namespace kelm
