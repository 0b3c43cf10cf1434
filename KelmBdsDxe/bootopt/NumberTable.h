// A table over all 16-bit numbers: option numbers, BBS indexes. Memory is taken for the numbers in
// use only, 256 neighbours at a time.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <type_traits>

namespace kelm {

// `Entry` is plain data whose zero bytes mean "nothing known"; what it points to belongs to the
// table's user.
template <class Entry>
class NumberTable {
    static_assert(std::is_trivially_copyable_v<Entry>);

public:
    NumberTable() = default;
    NumberTable(const NumberTable&) = delete;
    NumberTable& operator=(const NumberTable&) = delete;
    ~NumberTable() {
        for (UINTN i = 0; pages_ && i < kPages; ++i) {
            FreePool(pages_[i]);
        }
    }

    // The entry of a number, made when there is none yet; null: memory is out. It stays where it is
    // for as long as the table lives.
    Entry* Reach(UINT16 number) {
        if (!pages_) {
            pages_ = AllocateZeroPool<Page*>(kPages);
            if (!pages_) {
                return nullptr;
            }
        }
        Page*& page = pages_[number / kPageEntries];
        if (page == nullptr) {
            page = AllocateZeroPool<Page>().release();
        }
        return page == nullptr ? nullptr : &page->entries[number % kPageEntries];
    }
    // Calls visit(entry) for every entry that memory was taken for.
    template <class Visitor>
    void ForEach(Visitor visit) {
        for (UINTN i = 0; pages_ && i < kPages; ++i) {
            for (UINTN j = 0; pages_[i] != nullptr && j < kPageEntries; ++j) {
                visit(pages_[i]->entries[j]);
            }
        }
    }

private:
    static constexpr UINTN kPages = 256;
    static constexpr UINTN kPageEntries = 256;
    struct Page {
        Entry entries[kPageEntries];
    };

    PoolPtr<Page*> pages_;
};

} // namespace kelm
