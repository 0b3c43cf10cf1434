// Attributes in the text behind an FQDD, "[key:value]".
#pragma once

#include "uefi/Base.h"

namespace kelm {

inline constexpr CHAR16 kBracketBootPath[] = u"BootPath";
inline constexpr CHAR16 kBracketFailoverCapable[] = u"FailoverCapable";

// A new string with what follows the first "[key:" up to the next "]"; case does not count in the
// key. The caller frees it. The output is null unless EFI_SUCCESS. EFI_NOT_FOUND: there is no such
// attribute, or no "]" behind it; EFI_OUT_OF_RESOURCES.
EFI_STATUS BdsGetBracketValue(const CHAR16* text, const CHAR16* key, CHAR16** value);

// Puts "[key:value]" behind the pool string in `text`, which is replaced; null counts as an empty
// one. EFI_OUT_OF_RESOURCES: the string is as it was.
EFI_STATUS BdsAppendBracketValue(CHAR16** text, const CHAR16* key, const CHAR16* value);

} // namespace kelm
