// UefiBootOrder and its options while they are enumerated: the order is read once and edited in
// memory, each option is read once, and the settings that rule the enumeration are asked once.
#pragma once

#include "bootopt/NumberTable.h"
#include "bootopt/OptionCache.h"
#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <span>

namespace kelm {

struct EnumerationSettings {
    bool hddPlaceholder = false;      // placeholders for managed disks
    bool hddPlaceholderOnTop = false; // and at the front of the order
    bool fixedDiskOnly = false;       // duplicates of an option are looked for
    bool genericUsbDisabled = false;  // the generic USB boot device is not wanted
};

class UefiOptions {
public:
    // Reads the settings and UefiBootOrder. The cache must live longer.
    explicit UefiOptions(OptionCache& cache);
    UefiOptions(const UefiOptions&) = delete;
    UefiOptions& operator=(const UefiOptions&) = delete;
    ~UefiOptions();

    const EnumerationSettings settings;

    OptionCache& cache() { return cache_; }
    // EFI_SUCCESS: there is an order. EFI_NOT_FOUND: it is missing or empty. Otherwise it is there
    // and could not be read; Write then refuses with this status.
    EFI_STATUS status() const { return status_; }
    std::span<const UINT16> numbers() const { return {numbers_.get(), count_}; }

    // Edits of the order in memory.
    // At the end, unless it is in the order. EFI_OUT_OF_RESOURCES: the order holds
    // kMaxOrderEntries, or memory is out.
    EFI_STATUS Append(UINT16 number);
    // Puts another number into a place.
    void Replace(UINTN index, UINT16 number) {
        numbers_[index] = number;
        hashes_.reset();
    }
    // To the front, when it is in the order.
    void MoveToFront(UINT16 number);
    // Keeps the entries i for which keep(i) is true.
    template <class Keep>
    void Retain(Keep keep) {
        UINTN kept = 0;
        for (UINTN i = 0; i < count_; ++i) {
            if (keep(i)) {
                numbers_[kept++] = numbers_[i];
            }
        }
        count_ = kept;
        hashes_.reset();
    }
    // Writes UefiBootOrder; an empty order deletes it. The status of SetVariable.
    EFI_STATUS Write();

    // The hash of each listed option's device path (PathHash), kUnreadable where the option cannot
    // be read; no numbers, or no memory: empty. Valid until an option or the order is edited.
    static constexpr UINT32 kUnreadable = 0;
    std::span<const UINT32> PathHashes();
    static UINT32 PathHash(std::span<const UINT8> path);

    // The option's device path, with a hard-drive short form made full when its partition is found.
    // Null when the option cannot be read. Owned by this object or its cache.
    const EFI_DEVICE_PATH_PROTOCOL* FullPath(UINT16 number);

private:
    struct Expansion {
        EFI_DEVICE_PATH_PROTOCOL* path; // pool; null: as it stands in the option
        bool known;
    };

    OptionCache& cache_;
    PoolPtr<UINT16> numbers_;
    UINTN count_ = 0;
    UINTN room_ = 0;
    EFI_STATUS status_;
    NumberTable<Expansion> expansions_;
    PoolPtr<UINT32> hashes_;  // null: to be made anew
    UINT32 hashedAtEdit_ = 0; // of the cache
};

} // namespace kelm
