// Boot options or legacy devices ordered by FQDD lists: what the first list names comes first, then
// what the second one names, and all others keep their order behind them.
#pragma once

#include "bootopt/FqddTexts.h"
#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <span>

namespace kelm {

// Option numbers or BBS indexes in the order that is being built, each once, with the FQDD list
// that placed it. Every call takes the same source, whose size is the room that there is.
//
// Each call does all of its work or, with EFI_OUT_OF_RESOURCES, none; then what has been built is
// still as good as it was.
class FqddOrderedList {
public:
    FqddOrderedList() = default;
    FqddOrderedList(const FqddOrderedList&) = delete;
    FqddOrderedList& operator=(const FqddOrderedList&) = delete;
    ~FqddOrderedList();

    // Appends the entries of the source that the list names, in source order. One that an earlier
    // list placed stays where it is, unless this list is more specific than that one: then it moves
    // to the end. `list` is a valid one; it is copied.
    EFI_STATUS OrderBy(const CHAR16* list, std::span<const UINT16> source, FqddTexts& texts);
    // Appends the entries of the source that are not in the list yet.
    EFI_STATUS AppendRemaining(std::span<const UINT16> source);
    // In list order; valid until the next call.
    std::span<const UINT16> numbers() const { return {numbers_.get(), count_}; }

private:
    struct Placer {
        Placer* next;
        PoolPtr<CHAR16> list;
    };

    EFI_STATUS MakeRoom(UINTN count);
    UINTN Find(UINT16 number) const; // count_: not there
    void Append(UINT16 number, const CHAR16* placer);
    void MoveToEnd(UINTN index);

    PoolPtr<UINT16> numbers_;
    PoolPtr<const CHAR16*> placedBy_; // parallel to the numbers; null for what remained
    UINTN count_ = 0;
    UINTN room_ = 0;
    Placer* placers_ = nullptr; // pool
};

// One step of ordering, for a caller that has no texts of its own. `mode` tells what the numbers
// are (kFqddOfOption, kFqddOfBbs). EFI_OUT_OF_RESOURCES, and the list is as it was.
EFI_STATUS BdsOrderByFqddList(const CHAR16* list, std::span<const UINT16> source,
                              FqddOrderedList& ordered, UINTN mode);
// The last step. EFI_OUT_OF_RESOURCES.
EFI_STATUS BdsAppendRemainingToOrder(std::span<const UINT16> source, FqddOrderedList& ordered);

} // namespace kelm
