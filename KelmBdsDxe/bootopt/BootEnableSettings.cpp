#include "bootopt/BootEnableSettings.h"

#include "bootopt/BootEnableLists.h"
#include "bootopt/BootEnableReport.h"
#include "bootopt/LastError.h"
#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"

namespace kelm {

namespace {

// Both settings of a list, a comma between them, and a NUL.
constexpr UINTN kTextRoom = kBootEnableGroups * kBootEnableSettingCharacters + 2;
using ListText = std::array<CHAR16, kTextRoom>;

void Read(const std::array<const CHAR16*, kBootEnableGroups>& names,
          BootEnableSettings::List& list) {
    for (UINTN i = 0; i < kBootEnableGroups; ++i) {
        list[i].name = names[i];
        list[i].status = BdsGetAttributeString(names[i], list[i].value.out());
    }
}

bool IsKnown(const BootEnableSettings::List& list) {
    for (const BootEnableSetting& setting : list) {
        if (setting.status == EFI_OUT_OF_RESOURCES) {
            return false;
        }
    }
    return true;
}

bool IsFlagSet(const CHAR16* name) {
    UINT8 flag = 0;
    return !EFI_ERROR(BdsGetAttributeByte(name, &flag)) && flag == 1;
}

void Join(const BootEnableSettings::List& list, ListText& text) {
    EFI_STATUS status = EFI_SUCCESS;
    for (const BootEnableSetting& setting : list) {
        const CHAR16* value = setting.value ? setting.value.get() : u"";
        DebugPrint(kDebugInfo, "BDS - Get %s, Status:%r\n", setting.name, setting.status);
        DebugPrint(kDebugInfo, "[%s]\n", value);
        if (!EFI_ERROR(status) && text[0] != u'\0') {
            status = Ucs2Append(text, u",");
        }
        if (!EFI_ERROR(status)) {
            status = Ucs2Append(text, Ucs2View(value));
        }
    }
    if (EFI_ERROR(status)) {
        // The last item was cut, and would name other devices.
        const std::u16string_view cut = Ucs2View(text.data());
        const size_t comma = cut.rfind(u',');
        text[comma == kNotFound ? 0 : comma] = u'\0';
    }
}

// Whether another boot may do better. Lists that are invalid, and orders that are not there, will
// not become better by waiting.
bool IsWorthAnotherBoot(EFI_STATUS status) {
    return EFI_ERROR(status) && status != EFI_INVALID_PARAMETER && status != EFI_NOT_FOUND;
}

} // namespace

BootEnableSettings::BootEnableSettings() {
    Read(kBootEnabledSettings, enabled_);
    Read(kBootDisabledSettings, disabled_);
}

void BootEnableSettings::Dump() const {
    DebugPrint(kDebugInfo, "\nBDS - DumpSetBootOrderEnDisAll [Start]:");
    for (const List* list : {&enabled_, &disabled_}) {
        for (const BootEnableSetting& setting : *list) {
            DebugPrint(kDebugInfo, "\nGet %s (Status= %r):\n", setting.name, setting.status);
            DebugPrint(kDebugInfo, "[%s]", setting.value ? setting.value.get() : u"");
        }
    }
    DebugPrint(kDebugInfo, "BDS - DumpSetBootOrderEnDisAll [END]:\n");
}

EFI_STATUS BdsProcessBootEnableSettings(OptionCache& options) {
    DebugPrint(kDebugInfo, "BDS - Before Process SetBootOrderEn and SetBootOrderDis Attributes\n");
    const BootEnableSettings settings;
    settings.Dump();
    const bool enabledChanged = IsFlagSet(kAttributeBootOrderEnChanged);
    const bool disabledChanged = IsFlagSet(kAttributeBootOrderDisChanged);
    if ((enabledChanged && !IsKnown(settings.enabled())) ||
        (disabledChanged && !IsKnown(settings.disabled()))) {
        return EFI_OUT_OF_RESOURCES;
    }
    ListText enabled{};
    ListText disabled{};
    if (enabledChanged) {
        Join(settings.enabled(), enabled);
    }
    if (disabledChanged) {
        Join(settings.disabled(), disabled);
    }
    LastError error;
    if (enabled[0] != u'\0' || disabled[0] != u'\0') {
        DebugPrint(kDebugInfo,
                   "BDS - Process Boot En/Dis Attributes, BootEnChanged:%d, BootDisChanged:%d\n",
                   enabledChanged, disabledChanged);
        settings.Dump();
        const EFI_STATUS status =
            BdsProcessBootEnDisAttributes(enabled.data(), disabled.data(), options);
        if (IsWorthAnotherBoot(status)) {
            return status;
        }
        error.Note(status);
    }
    // Two flags are not taken back at once. After a power failure in between, one list would be
    // heeded without the other and undo it where it is the less specific one; so in this case both
    // must name each device by then. With one flag, the lists come last: an option is then never
    // touched for the sake of another one on the same device.
    const bool listsFirst = enabledChanged && disabledChanged;
    if (listsFirst) {
        error.Note(BdsUpdateBootOrderEnDisAttributes(options));
    }
    error.Note(BdsSetAttributeByte(kAttributeBootOrderEnChanged, 0));
    error.Note(BdsSetAttributeByte(kAttributeBootOrderDisChanged, 0));
    if (!listsFirst) {
        error.Note(BdsUpdateBootOrderEnDisAttributes(options));
    }
    return error.status();
}

} // namespace kelm
