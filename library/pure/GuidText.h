// GUIDs in registry form, XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX: printed in upper case without
// braces, read in either case with or without braces. Usable in constant expressions:
//     constexpr EFI_GUID kOwner = *GuidFromText("55E1FC65-A898-4214-A8A9-1AE839CD329A");
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "library/pure/Ucs2.h"
#include "uefi/Base.h"

namespace kelm {

inline constexpr size_t kGuidTextLength = 36; // characters, without a terminating null

// Writes the text and a null; returns kGuidTextLength, or 0 with an empty string when out has no
// room for both.
size_t GuidToText(const EFI_GUID& guid, std::span<char16_t> out);
size_t GuidToText(const EFI_GUID& guid, std::span<char> out);

namespace detail {

template <TextCharacter Char>
constexpr std::optional<UINT64> HexField(std::basic_string_view<Char> text, size_t at,
                                         size_t digits) {
    UINT64 value = 0;
    for (size_t i = 0; i < digits; i++) {
        const int digit = HexDigitValue(text[at + i]);
        if (digit < 0) {
            return std::nullopt;
        }
        value = value << 4 | UINT64(digit);
    }
    return value;
}

template <TextCharacter Char>
constexpr std::optional<EFI_GUID> ParseGuid(std::basic_string_view<Char> text) {
    if (text.size() == kGuidTextLength + 2 && text.front() == Char('{') &&
        text.back() == Char('}')) {
        text = text.substr(1, kGuidTextLength);
    }
    if (text.size() != kGuidTextLength || text[8] != Char('-') || text[13] != Char('-') ||
        text[18] != Char('-') || text[23] != Char('-')) {
        return std::nullopt;
    }
    const auto data1 = HexField(text, 0, 8);
    const auto data2 = HexField(text, 9, 4);
    const auto data3 = HexField(text, 14, 4);
    const auto clock = HexField(text, 19, 4);
    const auto node = HexField(text, 24, 12);
    if (!data1 || !data2 || !data3 || !clock || !node) {
        return std::nullopt;
    }
    EFI_GUID guid = {UINT32(*data1), UINT16(*data2), UINT16(*data3), {}};
    const UINT64 tail = *clock << 48 | *node;
    for (unsigned i = 0; i < 8; i++) {
        guid.Data4[i] = UINT8(tail >> (56 - 8 * i));
    }
    return guid;
}

} // namespace detail

// The GUID of a whole text; nothing when the text is anything else.
constexpr std::optional<EFI_GUID> GuidFromText(std::string_view text) {
    return detail::ParseGuid(text);
}
constexpr std::optional<EFI_GUID> GuidFromText(std::u16string_view text) {
    return detail::ParseGuid(text);
}

} // namespace kelm
