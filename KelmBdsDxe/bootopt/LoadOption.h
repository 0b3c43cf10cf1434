// One boot option in memory, and the way between it and its Boot#### variable.
#pragma once

#include "kelm/ListEntry.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

inline constexpr UINT16 kNoBootCurrent = 0xFFFF; // of an option that is in no variable
inline constexpr UINTN kBootOptionSignature = 'B' | 'd' << 8 | 'C' << 16 | 'O' << 24;

// Owns its device path, description and optional data; see BdsFreeBootOption.
struct BootOptionRecord {
    UINTN Signature; // kBootOptionSignature
    KelmListEntry Link;
    EFI_DEVICE_PATH_PROTOCOL* DevicePath;
    CHAR16* OptionName;
    UINTN OptionNumber;
    UINT16 BootCurrent; // the option's number
    UINT32 Attribute;   // LOAD_OPTION_*
    CHAR16* Description;
    UINT8* LoadOptions;
    UINT32 LoadOptionsSize; // bytes
    CHAR16* StatusString;
};

// Reads Boot#### into a new record, which the caller frees with BdsFreeBootOption. Null when the
// variable is missing or malformed, or memory is out.
BootOptionRecord* BdsReadBootOption(UINT16 optionNumber);
// Frees a record and all that it owns; null is allowed.
void BdsFreeBootOption(BootOptionRecord* record);

} // namespace kelm
