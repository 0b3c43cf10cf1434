// One boot option in memory, and the way between it and its Boot#### variable.
#pragma once

#include "kelm/ListEntry.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

#include <utility>

namespace kelm {

inline constexpr UINT16 kNoBootCurrent = 0xFFFF; // of an option that is in no variable
inline constexpr UINT16 kLastOptionNumber = 0xFFFE;
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
    UINT8* LoadOptions;     // the optional data; null when there is none
    UINT32 LoadOptionsSize; // bytes
    CHAR16* StatusString;
};

// Reads Boot#### into a new record, which the caller frees with BdsFreeBootOption. Null when the
// variable is missing or malformed, or memory is out. OptionName, OptionNumber and StatusString are
// left empty.
BootOptionRecord* BdsReadBootOption(UINT16 optionNumber);
// Writes the record as Boot####; a null description is an empty one. EFI_INVALID_PARAMETER: no
// record, no valid device path, one longer than 65535 bytes, or optional data that is not there.
// EFI_OUT_OF_RESOURCES. Otherwise the status of SetVariable.
EFI_STATUS BdsWriteBootOption(UINT16 optionNumber, const BootOptionRecord* record);
// Frees a record and all that it owns; null is allowed.
void BdsFreeBootOption(BootOptionRecord* record);

// Owns a record.
class OwnedBootOption {
public:
    explicit OwnedBootOption(BootOptionRecord* record = nullptr) : record_(record) {}
    OwnedBootOption(const OwnedBootOption&) = delete;
    OwnedBootOption& operator=(const OwnedBootOption&) = delete;
    ~OwnedBootOption() { BdsFreeBootOption(record_); }

    BootOptionRecord* get() const { return record_; }
    BootOptionRecord* operator->() const { return record_; }
    explicit operator bool() const { return record_ != nullptr; }
    // For those who may put another record in its place and free this one.
    BootOptionRecord** address() { return &record_; }
    [[nodiscard]] BootOptionRecord* release() { return std::exchange(record_, nullptr); }

private:
    BootOptionRecord* record_;
};

// Sets or clears LOAD_OPTION_ACTIVE and writes the option back; all else of the variable stays as
// it is. EFI_NOT_FOUND: the option cannot be read. Otherwise the status of SetVariable.
EFI_STATUS BdsSetOptionActive(UINT16 optionNumber, bool enable);

// Appends a record for each readable option of BootOrder, in its order, to the list at `head`,
// which the caller has made. EFI_OUT_OF_RESOURCES: BootOrder is absent or unreadable.
EFI_STATUS BdsBuildOptionListFromBootOrder(KelmListEntry* head);
// An empty list.
void BdsInitOptionList(KelmListEntry* head);
// Frees all records of such a list and leaves it empty.
void BdsFreeOptionList(KelmListEntry* head);
// The record that a link of such a list belongs to.
BootOptionRecord* BdsOptionOfLink(KelmListEntry* link);

// The smallest number for which there is no Boot####. EFI_NOT_FOUND: all are taken.
EFI_STATUS BdsGetFreeOptionNumber(UINT16* optionNumber);

} // namespace kelm
