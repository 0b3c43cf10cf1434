#include "sim/firmware/AddressBlock.h"

namespace sim {

AddressBlock::AddressBlock(Arena& arena, UINT64 pages, ArenaOwner owner)
    : size_(pages * Arena::kPageSize) {
    if (arena.AllocatePages(AllocateAnyPages, EfiBootServicesData, pages, &base_, owner) !=
        EFI_SUCCESS) {
        size_ = 0;
    }
}

void* AddressBlock::Next() {
    if (used_ + kSlotSize > size_) {
        return nullptr;
    }
    void* address = reinterpret_cast<void*>(base_ + used_);
    used_ += kSlotSize;
    return address;
}

} // namespace sim
