#include "bootopt/BootEnableLists.h"

#include "bootopt/Fqdd.h"
#include "bootopt/FqddTexts.h"
#include "bootopt/LastError.h"
#include "core/DriverState.h"
#include "kelm/DebugLevels.h"
#include "kelm/Variables.h"
#include "library/firmware/Debug.h"
#include "library/pure/Ucs2.h"

#include <algorithm>

namespace kelm {

namespace {

constexpr UINTN kMostSortPasses = 65535;

std::u16string_view WithoutBlanks(std::u16string_view text) {
    const size_t first = text.find_first_not_of(u' ');
    if (first == kNotFound) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(u' ') - first + 1);
}

// Calls visit(item) for every item of a text: as many as there are commas, and one more unless a
// comma ends it.
template <class Visitor>
void ForEachItem(std::u16string_view text, Visitor visit) {
    while (!text.empty()) {
        const size_t comma = text.find(u',');
        visit(text.substr(0, comma));
        text.remove_prefix(comma == kNotFound ? text.size() : comma + 1);
    }
}

UINTN CountItems(std::u16string_view text) {
    UINTN count = 0;
    ForEachItem(text, [&](std::u16string_view) { ++count; });
    return count;
}

void LogItems(const char* format, std::u16string_view text) {
    UINTN index = 0;
    ForEachItem(text,
                [&](std::u16string_view item) { DebugPrint(kDebugBds, format, index++, item); });
}

// The items of both texts as a list, enabled ones first.
class BootEnableItems {
public:
    EFI_STATUS Build(std::u16string_view enabled, std::u16string_view disabled) {
        count_ = CountItems(enabled) + CountItems(disabled);
        pairs_ = AllocateZeroPool<BootEnablePair>(count_ + 1);
        // Each item ends where its comma or the end of its text was.
        characters_ = AllocatePool<CHAR16>(enabled.size() + 1 + disabled.size() + 1);
        if (!pairs_ || !characters_) {
            return EFI_OUT_OF_RESOURCES;
        }
        BootEnablePair* pair = pairs_.get();
        CHAR16* end = characters_.get();
        const auto add = [&](std::u16string_view item, UINT8 enable) {
            *pair++ = {.Fqdd = end, .Enable = enable};
            const std::u16string_view fqdd = WithoutBlanks(item);
            end = std::copy(fqdd.begin(), fqdd.end(), end);
            *end++ = u'\0';
        };
        ForEachItem(enabled, [&](std::u16string_view item) { add(item, 1); });
        ForEachItem(disabled, [&](std::u16string_view item) { add(item, 0); });
        return EFI_SUCCESS;
    }

    BootEnablePair* pairs() const { return pairs_.get(); }
    std::span<const BootEnablePair> items() const { return {pairs_.get(), count_}; }

private:
    PoolPtr<BootEnablePair> pairs_;
    PoolPtr<CHAR16> characters_;
    UINTN count_ = 0;
};

UINTN CountPairs(const BootEnablePair* list) {
    UINTN count = 0;
    while (list[count].Fqdd != nullptr) {
        ++count;
    }
    return count;
}

EFI_STATUS SetActive(OptionCache& options, UINT16 number, bool enable) {
    const CachedOption* option = options.Find(number);
    if (option == nullptr) {
        return EFI_NOT_FOUND;
    }
    const UINT32 others = option->view.attributes & ~UINT32{LOAD_OPTION_ACTIVE};
    return options.SetAttributes(number, others | (enable ? LOAD_OPTION_ACTIVE : 0));
}

} // namespace

EFI_STATUS FqddListSortBySpecific(BootEnablePair* list, UINTN count) {
    UINTN passes = 0;
    for (UINTN i = 0; i + 1 < count;) {
        if (passes++ == kMostSortPasses) {
            DebugPrint(kDebugError, "FqddListSortBySpecific routine process fail.\n");
            return EFI_LOAD_ERROR;
        }
        bool swapped = false;
        for (UINTN j = i + 1; j < count; ++j) {
            if (BdsIsFqddMoreSpecific(list[j].Fqdd, list[i].Fqdd)) {
                std::swap(list[i], list[j]);
                swapped = true;
            }
        }
        i += swapped ? 0 : 1;
    }
    return EFI_SUCCESS;
}

EFI_STATUS BdsLibSetBootOrderEnDis(BootEnablePair* list, const CHAR16* orderName,
                                   const EFI_GUID* guid, OptionCache& options) {
    // A list that could not be sorted all the way is used as it stands.
    static_cast<void>(FqddListSortBySpecific(list, CountPairs(list)));
    OptionOrder order;
    EFI_STATUS status = options.orders().Read(orderName, guid, order);
    FqddTexts texts(options, kFqddOfOption);
    if (!EFI_ERROR(status)) {
        status = texts.Load(order.numbers());
    }
    if (EFI_ERROR(status)) {
        return status;
    }
    LastError error;
    std::span<UINT16> unsettled = order.numbers();
    for (; list->Fqdd != nullptr && !unsettled.empty(); ++list) {
        UINTN kept = 0;
        for (const UINT16 number : unsettled) {
            if (!texts.IsMatching(list->Fqdd, number)) {
                unsettled[kept++] = number;
                continue;
            }
            error.Note(SetActive(options, number, list->Enable != 0));
        }
        unsettled = unsettled.first(kept);
    }
    return error.status();
}

EFI_STATUS BdsProcessBootEnDisAttributes(const CHAR16* enabled, const CHAR16* disabled,
                                         OptionCache& options) {
    const std::u16string_view enabledText = Ucs2View(enabled);
    const std::u16string_view disabledText = Ucs2View(disabled);
    BootEnableItems items;
    const EFI_STATUS built = items.Build(enabledText, disabledText);
    DebugPrint(kDebugBds,
               "BDS[BdsProcessBootEnDisAttributes]:EnabledListNum=%d, DisabledListNum=%d\n",
               CountItems(enabledText), CountItems(disabledText));
    LogItems("  EnabledList[%d]: %s\n", enabledText);
    LogItems("  DisabledList[%d]: %s\n", disabledText);
    DebugPrint(kDebugInfo, "BDS[BdsProcessBootEnDisAttributes]:TotalOptionNum=%d\n",
               CountItems(enabledText) + CountItems(disabledText));
    if (EFI_ERROR(built)) {
        return built;
    }
    if (items.items().empty()) {
        return EFI_INVALID_PARAMETER;
    }
    for (const BootEnablePair& item : items.items()) {
        if (!BdsIsFqddListValid(item.Fqdd)) {
            DebugPrint(kDebugError,
                       "BDS - Error Found and won't apply boot enabled/disabled attributes.\n");
            DebugPrint(kDebugError, "Invalid FQDD: [%s]\n", item.Fqdd);
            return EFI_INVALID_PARAMETER;
        }
    }
    const KelmVariable& order =
        gDriver.boot.bootMode == kBootModeBios ? kVariableLegacyBootOrder : kVariableUefiBootOrder;
    const EFI_STATUS status =
        BdsLibSetBootOrderEnDis(items.pairs(), order.name, order.guid, options);
    DebugPrint(kDebugInfo, "BDS[BdsLibSetBootOrderEnDis]:Status =%r, NewBootAttr=%p\n", status,
               static_cast<const void*>(items.pairs()));
    return status;
}

} // namespace kelm
