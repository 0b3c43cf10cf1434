// BIOS settings by name, through the attribute service and its secondary reader. Values are UCS-2
// strings or raw bytes; names and values stand in kelm/AttributeNames.h.
//
// Without the service every read fails and every comparison is false; callers then use their
// defaults. Statuses not listed pass through from the service or its lookup.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

namespace kelm {

// A new copy of a setting's value, NUL-terminated, in pool memory of the caller. The output is null
// unless EFI_SUCCESS. EFI_INVALID_PARAMETER: a null argument; EFI_OUT_OF_RESOURCES: no memory.
EFI_STATUS BdsGetAttributeString(const CHAR16* name, CHAR16** string);
// True when the value can be read, has exactly `length` bytes (0: the size of `value` with its NUL)
// and equals `value`. A value of more than 62 bytes never equals unless `length` says so.
bool BdsCompareAttribute(const CHAR16* name, const void* value, UINT16 length = 0);
// True when the value reads as the string "Enabled".
bool BdsAttributeIsEnabled(const CHAR16* name);
// Stores a string. EFI_INVALID_PARAMETER, without a call: null argument, or above 1024 bytes with
// the NUL.
EFI_STATUS BdsSetAttributeString(const CHAR16* name, const CHAR16* value);
// Raw reads of exactly 1 and 2 bytes; the output is written on success only.
// EFI_BAD_BUFFER_SIZE: the value is shorter; EFI_BUFFER_TOO_SMALL: it is longer.
EFI_STATUS BdsGetAttributeByte(const CHAR16* name, UINT8* value);
EFI_STATUS BdsGetAttributeWord(const CHAR16* name, UINT16* value);
// Raw writes. EFI_INVALID_PARAMETER, as for the reads: a null argument.
EFI_STATUS BdsSetAttributeData(const CHAR16* name, const void* data, UINT16 size);
EFI_STATUS BdsSetAttributeByte(const CHAR16* name, UINT8 value);

// The same reads through the secondary reader.
EFI_STATUS BdsGetSecondaryAttributeString(const CHAR16* name, CHAR16** string);
bool BdsCompareSecondaryAttribute(const CHAR16* name, const void* value, UINT16 length = 0);

} // namespace kelm
