#include "library/pure/Ucs2.h"

#include <algorithm>

namespace kelm {
namespace {

// Copies what fits before the null of out, from index at.
template <class Out, class In, class Convert>
EFI_STATUS CopyBounded(std::span<Out> out, size_t at, std::basic_string_view<In> text,
                       Convert convert) {
    if (at >= out.size()) {
        return EFI_BUFFER_TOO_SMALL;
    }
    const size_t room = out.size() - at - 1;
    const size_t count = std::min(room, text.size());
    for (size_t i = 0; i < count; i++) {
        out[at + i] = convert(text[i]);
    }
    out[at + count] = Out(0);
    return count == text.size() ? EFI_SUCCESS : EFI_BUFFER_TOO_SMALL;
}

constexpr auto kSame = [](char16_t c) { return c; };
constexpr auto kFold = [](auto c) { return char16_t(ToUpperAscii(c)); };

template <class A, class B, class Fold>
int CompareFolded(std::basic_string_view<A> a, std::basic_string_view<B> b, Fold fold) {
    const size_t common = std::min(a.size(), b.size());
    for (size_t i = 0; i < common; i++) {
        const int difference = int(fold(a[i])) - int(fold(b[i]));
        if (difference != 0) {
            return difference;
        }
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

template <class Char>
std::optional<UINT64> ParseDigits(std::basic_string_view<Char> text, UINT64 radix) {
    if (text.empty()) {
        return std::nullopt;
    }
    UINT64 value = 0;
    for (const Char c : text) {
        const int digit = HexDigitValue(c);
        if (digit < 0 || UINT64(digit) >= radix || value > (~UINT64(0) - UINT64(digit)) / radix) {
            return std::nullopt;
        }
        value = value * radix + UINT64(digit);
    }
    return value;
}

template <class Char>
bool HasHexPrefix(std::basic_string_view<Char> text) {
    return text.size() >= 2 && text[0] == Char('0') && ToUpperAscii(text[1]) == Char('X');
}

template <class Char>
std::optional<UINT64> ParseHexText(std::basic_string_view<Char> text) {
    return ParseDigits(HasHexPrefix(text) ? text.substr(2) : text, 16);
}

template <class Char>
std::optional<UINT64> ParseNumberText(std::basic_string_view<Char> text) {
    return HasHexPrefix(text) ? ParseDigits(text.substr(2), 16) : ParseDigits(text, 10);
}

} // namespace

size_t Ucs2Length(const char16_t* text) {
    return Ucs2View(text).size();
}

size_t Ucs2Length(const char16_t* text, size_t maxCharacters) {
    size_t length = 0;
    while (text != nullptr && length < maxCharacters && text[length] != 0) {
        length++;
    }
    return length;
}

size_t Ucs2Size(const char16_t* text) {
    return text == nullptr ? 0 : (Ucs2Length(text) + 1) * sizeof(char16_t);
}

std::u16string_view Ucs2View(const char16_t* text) {
    return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

std::u16string_view Ucs2View(std::span<const char16_t> buffer) {
    return {buffer.data(), Ucs2Length(buffer.data(), buffer.size())};
}

EFI_STATUS Ucs2Copy(std::span<char16_t> out, std::u16string_view text) {
    return CopyBounded(out, 0, text, kSame);
}

EFI_STATUS Ucs2Append(std::span<char16_t> out, std::u16string_view text) {
    const size_t length = Ucs2Length(out.data(), out.size());
    if (length == out.size()) {
        return EFI_INVALID_PARAMETER;
    }
    return CopyBounded(out, length, text, kSame);
}

int Ucs2Compare(std::u16string_view a, std::u16string_view b) {
    return CompareFolded(a, b, kSame);
}

int Ucs2CompareNoCase(std::u16string_view a, std::u16string_view b) {
    return CompareFolded(a, b, kFold);
}

bool Ucs2EqualNoCase(std::u16string_view a, std::u16string_view b) {
    return CompareFolded(a, b, kFold) == 0;
}

bool Ucs2StartsWithNoCase(std::u16string_view text, std::u16string_view prefix) {
    return text.size() >= prefix.size() && Ucs2EqualNoCase(text.substr(0, prefix.size()), prefix);
}

bool Ucs2EqualAscii(std::u16string_view a, std::string_view b) {
    return CompareFolded(a, b, [](auto c) { return char16_t(c); }) == 0;
}

bool Ucs2EqualAsciiNoCase(std::u16string_view a, std::string_view b) {
    return CompareFolded(a, b, kFold) == 0;
}

size_t Ucs2Find(std::u16string_view text, std::u16string_view needle) {
    return text.find(needle);
}

size_t Ucs2FindNoCase(std::u16string_view text, std::u16string_view needle) {
    for (size_t at = 0; at + needle.size() <= text.size(); at++) {
        if (Ucs2StartsWithNoCase(text.substr(at), needle)) {
            return at;
        }
    }
    return kNotFound;
}

EFI_STATUS AsciiToUcs2(std::span<char16_t> out, std::string_view text) {
    return CopyBounded(out, 0, text, [](char c) { return char16_t(UINT8(c)); });
}

EFI_STATUS Ucs2ToAscii(std::span<char> out, std::u16string_view text) {
    return CopyBounded(out, 0, text, [](char16_t c) { return c > 0x7F ? '?' : char(c); });
}

std::optional<UINT64> ParseDecimal(std::u16string_view text) {
    return ParseDigits(text, 10);
}
std::optional<UINT64> ParseDecimal(std::string_view text) {
    return ParseDigits(text, 10);
}
std::optional<UINT64> ParseHex(std::u16string_view text) {
    return ParseHexText(text);
}
std::optional<UINT64> ParseHex(std::string_view text) {
    return ParseHexText(text);
}
std::optional<UINT64> ParseNumber(std::u16string_view text) {
    return ParseNumberText(text);
}
std::optional<UINT64> ParseNumber(std::string_view text) {
    return ParseNumberText(text);
}

} // namespace kelm
