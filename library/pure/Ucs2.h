// UCS-2 text as UEFI uses it: null-terminated char16_t strings in firmware buffers and
// u16string_view inside our own code. Everything is bounded by the caller's buffer and nothing
// allocates. Case is folded for A-Z only; a null pointer counts as an empty string.
#pragma once

#include <concepts>
#include <optional>
#include <span>
#include <string_view>

#include "uefi/Base.h"

namespace kelm {

// Characters before the terminating null; 0 for a null pointer.
size_t Ucs2Length(const char16_t* text);
// As above, but looks at no more than maxCharacters; maxCharacters when there is no null among
// them.
size_t Ucs2Length(const char16_t* text, size_t maxCharacters);
// Bytes of the string with its terminating null; 0 for a null pointer.
size_t Ucs2Size(const char16_t* text);
// The string as a view; empty for a null pointer.
std::u16string_view Ucs2View(const char16_t* text);
// The characters of a buffer up to its first null, or the whole buffer.
std::u16string_view Ucs2View(std::span<const char16_t> buffer);

// Copies text and a null into out. EFI_BUFFER_TOO_SMALL when it does not fit: out then holds as
// much as fits, terminated (nothing at all when out is empty).
EFI_STATUS Ucs2Copy(std::span<char16_t> out, std::u16string_view text);
// Appends to the null-terminated string in out; statuses as Ucs2Copy. EFI_INVALID_PARAMETER when
// out holds no null.
EFI_STATUS Ucs2Append(std::span<char16_t> out, std::u16string_view text);

// Negative, zero or positive, by character value; a prefix sorts before the longer text.
int Ucs2Compare(std::u16string_view a, std::u16string_view b);
int Ucs2CompareNoCase(std::u16string_view a, std::u16string_view b);
bool Ucs2EqualNoCase(std::u16string_view a, std::u16string_view b);
bool Ucs2StartsWithNoCase(std::u16string_view text, std::u16string_view prefix);
// Equality and case-folded equality of a UCS-2 text with an ASCII one.
bool Ucs2EqualAscii(std::u16string_view a, std::string_view b);
bool Ucs2EqualAsciiNoCase(std::u16string_view a, std::string_view b);

inline constexpr size_t kNotFound = std::u16string_view::npos;
// Index of the first occurrence, kNotFound when there is none; an empty needle is found at 0.
size_t Ucs2Find(std::u16string_view text, std::u16string_view needle);
size_t Ucs2FindNoCase(std::u16string_view text, std::u16string_view needle);

// Widens text into out, null-terminated; statuses as Ucs2Copy.
EFI_STATUS AsciiToUcs2(std::span<char16_t> out, std::string_view text);
// Narrows text into out, null-terminated; characters above 0x7F become '?'. Statuses as Ucs2Copy.
EFI_STATUS Ucs2ToAscii(std::span<char> out, std::u16string_view text);

template <class Char>
concept TextCharacter = std::same_as<Char, char> || std::same_as<Char, char16_t>;

template <TextCharacter Char>
constexpr Char ToUpperAscii(Char c) {
    return c >= 'a' && c <= 'z' ? Char(c - 'a' + 'A') : c;
}
template <TextCharacter Char>
constexpr Char ToLowerAscii(Char c) {
    return c >= 'A' && c <= 'Z' ? Char(c - 'A' + 'a') : c;
}
template <TextCharacter Char>
constexpr bool IsDigit(Char c) {
    return c >= '0' && c <= '9';
}
// 0 to 15, or -1 for anything that is not a hexadecimal digit.
template <TextCharacter Char>
constexpr int HexDigitValue(Char c) {
    if (IsDigit(c)) {
        return c - '0';
    }
    const Char upper = ToUpperAscii(c);
    return upper >= 'A' && upper <= 'F' ? upper - 'A' + 10 : -1;
}
template <TextCharacter Char>
constexpr bool IsHexDigit(Char c) {
    return HexDigitValue(c) >= 0;
}

// The whole text as a number. Nothing when it is empty, holds any other character, or exceeds
// 64 bits. ParseHex takes an optional 0x; ParseNumber is hexadecimal with 0x, decimal without.
std::optional<UINT64> ParseDecimal(std::u16string_view text);
std::optional<UINT64> ParseDecimal(std::string_view text);
std::optional<UINT64> ParseHex(std::u16string_view text);
std::optional<UINT64> ParseHex(std::string_view text);
std::optional<UINT64> ParseNumber(std::u16string_view text);
std::optional<UINT64> ParseNumber(std::string_view text);

} // namespace kelm
