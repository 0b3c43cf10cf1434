#include "bootopt/BracketValue.h"

#include "library/firmware/Pool.h"
#include "library/pure/Ucs2.h"

#include <array>
#include <optional>

namespace kelm {

namespace {

std::optional<std::u16string_view> FindValue(std::u16string_view text, std::u16string_view key) {
    for (size_t open = text.find(u'['); open != kNotFound; open = text.find(u'[', open + 1)) {
        const std::u16string_view inside = text.substr(open + 1);
        if (!Ucs2StartsWithNoCase(inside, key) || !inside.substr(key.size()).starts_with(u':')) {
            continue;
        }
        const std::u16string_view value = inside.substr(key.size() + 1);
        const size_t close = value.find(u']');
        return close == kNotFound ? std::nullopt : std::optional(value.substr(0, close));
    }
    return std::nullopt;
}

} // namespace

EFI_STATUS BdsGetBracketValue(const CHAR16* text, const CHAR16* key, CHAR16** value) {
    *value = nullptr;
    const std::optional<std::u16string_view> found = FindValue(Ucs2View(text), Ucs2View(key));
    if (!found) {
        return EFI_NOT_FOUND;
    }
    PoolPtr<CHAR16> copy = AllocatePool<CHAR16>(found->size() + 1);
    if (!copy) {
        return EFI_OUT_OF_RESOURCES;
    }
    static_cast<void>(Ucs2Copy({copy.get(), found->size() + 1}, *found));
    *value = copy.release();
    return EFI_SUCCESS;
}

EFI_STATUS BdsAppendBracketValue(CHAR16** text, const CHAR16* key, const CHAR16* value) {
    const std::array<std::u16string_view, 6> pieces = {Ucs2View(*text), u"[", Ucs2View(key), u":",
                                                       Ucs2View(value), u"]"};
    size_t room = 1;
    for (const std::u16string_view piece : pieces) {
        room += piece.size();
    }
    PoolPtr<CHAR16> grown = AllocateZeroPool<CHAR16>(room);
    if (!grown) {
        return EFI_OUT_OF_RESOURCES;
    }
    for (const std::u16string_view piece : pieces) {
        static_cast<void>(Ucs2Append({grown.get(), room}, piece));
    }
    FreePool(*text);
    *text = grown.release();
    return EFI_SUCCESS;
}

} // namespace kelm
