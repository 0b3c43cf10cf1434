// Boot options and legacy devices by their FQDDs.
#pragma once

#include "bootopt/Fqdd.h"
#include "uefi/Base.h"

namespace kelm {

class OptionCache;

// What a number stands for, and whether the text gets the bracket attributes "BootPath" (the device
// path in words) and "FailoverCapable" ("true").
inline constexpr UINTN kFqddOfOption = 1; // an option number, with brackets
inline constexpr UINTN kFqddOfBbs = 2;    // an index into the BBS table, with brackets
inline constexpr UINTN kFqddOfOptionPlain = 3;
inline constexpr UINTN kFqddOfBbsPlain = 4;

// The FQDD text that the location service has for an option's or a BBS entry's device, in new pool
// memory of the caller; null unless EFI_SUCCESS. EFI_NOT_FOUND: no location service, no such
// option, no BBS table, no device path for a BBS entry, or no FQDD. EFI_INVALID_PARAMETER: another
// mode, or an index behind the BBS table. EFI_OUT_OF_RESOURCES.
EFI_STATUS BdsGetOptionFqddText(UINT16 number, UINTN mode, CHAR16** text);

// The same with options from a cache.
EFI_STATUS BdsGetCachedOptionFqddText(OptionCache& options, UINT16 number, UINTN mode,
                                      CHAR16** text);

// IsFqddMatching of the pattern and that text; false when there is no text.
bool BdsIsOptionMatchingFqdd(const CHAR16* pattern, UINT16 number, UINTN mode);

// IsFqddListWellFormed, and the log tells a text that is not.
bool BdsIsFqddListValid(const CHAR16* text);

} // namespace kelm
