// Addresses for objects that the driver only knows by their address: handles and events. They come
// from a block of arena memory in the order of creation and are never used again, so that they are
// the same in every run and a stale one is always known as such.
#pragma once

#include "sim/firmware/Arena.h"

namespace sim {

class AddressBlock {
public:
    static constexpr UINT64 kSlotSize = 32;

    AddressBlock(Arena& arena, UINT64 pages, ArenaOwner owner);

    // The next address, nullptr when all are used up.
    void* Next();
    // Whether the address was handed out by Next() at some time.
    bool WasIssued(const void* address) const {
        const UINT64 offset = reinterpret_cast<UINT64>(address) - base_;
        return offset < used_ && offset % kSlotSize == 0;
    }
    // Addresses in the order in which they were handed out: the first is 0. Only for one that
    // WasIssued().
    std::size_t IndexOf(const void* address) const {
        return (reinterpret_cast<UINT64>(address) - base_) / kSlotSize;
    }
    void* AddressOf(std::size_t index) const {
        return reinterpret_cast<void*>(base_ + index * kSlotSize);
    }

private:
    UINT64 base_ = 0;
    UINT64 size_;
    UINT64 used_ = 0;
};

} // namespace sim
