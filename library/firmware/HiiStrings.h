// One string package of the image in the HII database (UEFI 2.10, chapters 33 and 34): strings are
// numbered from 1 and read back by number.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"
#include "uefi/HiiDatabase.h"

#include <span>

namespace kelm {

// Registers a package list with one string package in `language` (ASCII, such as "en-US").
// `strings[i]` gets the number i + 1; a null entry leaves its number without a string. The database
// keeps a copy. EFI_NOT_FOUND: no HII database; EFI_OUT_OF_RESOURCES: no memory; otherwise as
// NewPackageList. On success *handle identifies the list.
EFI_STATUS RegisterHiiStrings(const EFI_GUID& packageListGuid, const CHAR8* language,
                              std::span<const CHAR16* const> strings, EFI_HII_HANDLE* handle);

// A new copy of a string. EFI_NOT_FOUND: number 0, no such string, or no HII; EFI_OUT_OF_RESOURCES.
EFI_STATUS GetHiiString(EFI_HII_HANDLE handle, EFI_STRING_ID number, const CHAR8* language,
                        PoolPtr<CHAR16>& text);

} // namespace kelm
