// The boot options as one operation sees them: each Boot#### variable is read when it is first
// asked for and not again, and is kept as its bytes. Writes and deletions go through to the
// variable at once.
//
// A cache lives for one operation and no longer: others write options too.
#pragma once

#include "bootopt/LoadOptionFormat.h"
#include "bootopt/NumberTable.h"
#include "bootopt/OrderCache.h"
#include "uefi/Base.h"

#include <span>

namespace kelm {

// An option in place, valid until the option is written or deleted through its cache, or the cache
// ends.
struct CachedOption {
    LoadOptionView view;
    UINT16 number;

    bool IsEnumerated() const { return (view.attributes & kLoadOptionEnumerated) != 0; }
    bool IsLegacy() const { return (view.attributes & kLoadOptionLegacy) != 0; }
    const EFI_DEVICE_PATH_PROTOCOL* path() const { return view.path(); }
    // NUL-terminated.
    const CHAR16* description() const {
        return reinterpret_cast<const CHAR16*>(view.description.Bytes().data());
    }
};

class OptionCache {
public:
    OptionCache() = default;
    OptionCache(const OptionCache&) = delete;
    OptionCache& operator=(const OptionCache&) = delete;
    ~OptionCache();

    // The orders that name the options.
    OrderCache& orders() { return orders_; }

    // The option; null: Status says EFI_NOT_FOUND or an error, or the variable is malformed.
    const CachedOption* Find(UINT16 number);
    // EFI_SUCCESS: the variable was read, whatever it holds. EFI_NOT_FOUND: there is none.
    // EFI_OUT_OF_RESOURCES: no memory to read it. Otherwise the status of GetVariable: it is there
    // and cannot be read.
    EFI_STATUS Status(UINT16 number);
    // Whether there is no such variable. One that cannot be read is not missing.
    bool IsMissing(UINT16 number) { return Status(number) == EFI_NOT_FOUND; }
    // All bytes of a variable that was read, else empty.
    std::span<const UINT8> Bytes(UINT16 number);

    // Writes Boot####. EFI_INVALID_PARAMETER: the file path list is longer than an option can say.
    // EFI_OUT_OF_RESOURCES. Otherwise the status of SetVariable. The cache keeps what was there
    // when it fails.
    EFI_STATUS Write(UINT16 number, const LoadOptionParts& parts);
    // Writes the option back with other attributes and all else as it is. EFI_NOT_FOUND: Find finds
    // none; otherwise as Write.
    EFI_STATUS SetAttributes(UINT16 number, UINT32 attributes);
    // Deletes Boot####. Statuses as BdsDeleteVariable.
    EFI_STATUS Delete(UINT16 number);
    // The smallest number for which there is no Boot####. EFI_NOT_FOUND: all are taken.
    // EFI_OUT_OF_RESOURCES.
    EFI_STATUS FindFreeNumber(UINT16* number);
    // Grows whenever an option is written or deleted.
    UINT32 edits() const { return edits_; }

private:
    enum class State : UINT8 { Unknown, Missing, Present, Read, Failed };
    struct Entry {
        UINT8* bytes;         // pool
        CachedOption* option; // pool; null when the bytes are no option
        UINTN size;
        EFI_STATUS status; // when State::Failed
        State state;
    };

    Entry* Load(UINT16 number);
    static void Forget(Entry& entry, State state);
    static EFI_STATUS Keep(Entry& entry, UINT16 number, PoolPtr<UINT8> bytes, UINTN size);
    EFI_STATUS WriteBytes(UINT16 number, PoolPtr<UINT8> bytes, UINTN size);

    OrderCache orders_;
    NumberTable<Entry> entries_;
    UINT32 freeFrom_ = 0; // no smaller number is free
    UINT32 edits_ = 0;
};

// What the sanity check and the order sync take for the same option: equal descriptions, equal
// device paths over the first one's size, and equal optional data.
bool BdsAreOptionsEqual(const CachedOption& first, const CachedOption& second);

} // namespace kelm
