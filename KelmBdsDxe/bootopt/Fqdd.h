// Fully qualified device descriptors as text: "RAID.Integrated.1-1" names a device by its class,
// its location and its index. "*" stands for any class, location or index, groups in brackets add
// attributes, and ":" joins descriptors to a list that a blank or the end of the text ends.
//
// Texts come from settings and variables and may hold anything. Nothing here needs firmware.
#pragma once

#include "uefi/Base.h"

#include <array>
#include <span>
#include <string_view>

namespace kelm {

// Characters of the longest token, and the room that it takes with its NUL. Nothing matches a
// longer one, and a list that holds one is invalid.
inline constexpr UINTN kFqddTokenCharacters = 255;
inline constexpr UINTN kFqddTokenRoom = kFqddTokenCharacters + 1;

// What stands before a token.
enum class FqddTokenKind : UINT32 {
    Dot = 1, // "." or nothing: the first token
    Dash = 2,
    Bracket = 3,
    List = 4, // ":"
};

// Whether the text is a list of one or more well-formed descriptors.
bool IsFqddListWellFormed(std::u16string_view text);

// Token number `index`, from 0, with its NUL, and its kind. A text is cut at ".", "-", "[" and ":";
// "]" belongs to no token, and neither does a ":" between brackets, which does not cut. An empty
// text has no token. Outputs are written on success only. EFI_NOT_FOUND: no such token;
// EFI_INVALID_PARAMETER: no text; EFI_BUFFER_TOO_SMALL: the token is too long for `token`, or
// longer than kFqddTokenCharacters.
EFI_STATUS BdsGetFqddToken(const CHAR16* text, UINTN index, std::span<CHAR16> token,
                           FqddTokenKind* kind);

// Whether `a` is more specific than `b`: it has the first token with which only one of them names
// something, where the other has a wildcard or has ended.
bool BdsIsFqddMoreSpecific(const CHAR16* a, const CHAR16* b);

// Whether the pattern names the device with this FQDD text. A pattern may be shorter than the
// device's text and may leave out its sub-indexes. Case does not count, and "/" equals "\". A
// pattern without tokens names nothing.
bool IsFqddMatching(std::u16string_view pattern, std::u16string_view device);

} // namespace kelm
