// The arena's pages: runs of free and used ones, lowest address first.
#include "sim/firmware/Arena.h"
#include "sim/firmware/ArenaTypes.h"
#include "sim/firmware/Sanitizer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

void* Pointer(UINT64 address) {
    return reinterpret_cast<void*>(address);
}

bool IsCode(EFI_MEMORY_TYPE type) {
    return type == EfiLoaderCode || type == EfiBootServicesCode || type == EfiRuntimeServicesCode;
}

} // namespace

// The lowest address of `pages` free pages within lowest...highest (last byte), 0 when none.
UINT64 Arena::FindFree(UINT64 pages, UINT64 lowest, UINT64 highest) const {
    if (pages > size_ / kPageSize)
        return 0;
    const UINT64 size = pages * kPageSize;
    auto hole = free_.upper_bound(lowest);
    if (hole != free_.begin())
        --hole;
    for (; hole != free_.end() && hole->first <= highest; ++hole) {
        const UINT64 start = std::max(hole->first, lowest);
        const UINT64 end = hole->first + hole->second * kPageSize;
        if (start < end && end - start >= size && highest - start >= size - 1)
            return start;
    }
    return 0;
}

// Takes free pages, which FindFree() found, and makes them reachable and fresh.
UINT64 Arena::TakeRun(UINT64 address, UINT64 pages, EFI_MEMORY_TYPE type) {
    const UINT64 size = pages * kPageSize;
    const int protection = PROT_READ | PROT_WRITE | (IsCode(type) ? PROT_EXEC : 0);
    if (mprotect(Pointer(address), size, protection) != 0)
        return 0;
    const auto hole = std::prev(free_.upper_bound(address));
    const UINT64 holeStart = hole->first;
    const UINT64 holeEnd = holeStart + hole->second * kPageSize;
    free_.erase(hole);
    if (holeStart < address)
        free_[holeStart] = (address - holeStart) / kPageSize;
    if (address + size < holeEnd)
        free_[address + size] = (holeEnd - address - size) / kPageSize;
    runs_[address] = {pages, type};
    freedRuns_.erase(freedRuns_.lower_bound(address), freedRuns_.lower_bound(address + size));
    Unpoison(Pointer(address), size);
    std::memset(Pointer(address), kFill, size);
    top_ = std::max(top_, address + size);
    ++mapKey_;
    return address;
}

// Gives back pages that lie within one run.
void Arena::GiveRun(UINT64 address, UINT64 pages) {
    const UINT64 end = address + pages * kPageSize;
    const auto run = std::prev(runs_.upper_bound(address));
    const UINT64 runStart = run->first;
    const UINT64 runEnd = runStart + run->second.pages * kPageSize;
    const EFI_MEMORY_TYPE type = run->second.type;
    runs_.erase(run);
    if (runStart < address)
        runs_[runStart] = {(address - runStart) / kPageSize, type};
    if (end < runEnd)
        runs_[end] = {(runEnd - end) / kPageSize, type};

    Unpoison(Pointer(address), end - address);
    std::memset(Pointer(address), kFill, end - address);
    Poison(Pointer(address), end - address);

    auto hole = free_.emplace(address, pages).first;
    if (const auto after = std::next(hole); after != free_.end() && after->first == end) {
        hole->second += after->second;
        free_.erase(after);
    }
    if (hole != free_.begin()) {
        const auto before = std::prev(hole);
        if (before->first + before->second * kPageSize == address) {
            before->second += hole->second;
            free_.erase(hole);
        }
    }
    ++mapKey_;
}

EFI_STATUS Arena::AllocatePages(EFI_ALLOCATE_TYPE kind, EFI_MEMORY_TYPE type, UINT64 pages,
                                UINT64* address, ArenaOwner owner) {
    if (address == nullptr || kind >= MaxAllocateType || pages == 0 || !CanAllocate(type))
        return EFI_INVALID_PARAMETER;
    const UINT64 arenaEnd = base_ + size_ - 1;
    UINT64 lowest = base_;
    UINT64 highest = arenaEnd;
    if (kind == AllocateMaxAddress)
        highest = std::min(*address, arenaEnd);
    if (kind == AllocateAddress) {
        if (*address % kPageSize != 0)
            return EFI_INVALID_PARAMETER;
        if (!Contains(*address) || pages > (base_ + size_ - *address) / kPageSize)
            return EFI_NOT_FOUND;
        lowest = *address;
        highest = *address + pages * kPageSize - 1;
    }
    const UINT64 found = highest < lowest ? 0 : FindFree(pages, lowest, highest);
    if (found == 0 && kind == AllocateAddress)
        return EFI_NOT_FOUND;
    if (Refuse(found == 0 ? 0 : pages * kPageSize, owner))
        return EFI_OUT_OF_RESOURCES;
    if (found == 0 || TakeRun(found, pages, type) == 0) {
        ++statistics_.failures;
        return EFI_OUT_OF_RESOURCES;
    }
    pageBlocks_[found] = Account(found, pages * kPageSize, type, owner, true);
    *address = found;
    return EFI_SUCCESS;
}

EFI_STATUS Arena::FreePages(UINT64 address, UINT64 pages) {
    if (address % kPageSize != 0 || pages == 0)
        return EFI_INVALID_PARAMETER;
    auto next = pageBlocks_.upper_bound(address);
    const ArenaBlock* const block =
        next == pageBlocks_.begin() ? nullptr : &std::prev(next)->second;
    if (block == nullptr || address - block->address >= block->size ||
        pages > (block->size - (address - block->address)) / kPageSize) {
        ReportBadFree(address);
        return EFI_NOT_FOUND;
    }
    const ArenaBlock whole = *block;
    const UINT64 end = address + pages * kPageSize;
    const UINT64 wholeEnd = whole.address + whole.size;
    pageBlocks_.erase(whole.address);
    Discount(whole.size);
    const auto keep = [&](UINT64 from, UINT64 to) {
        if (from >= to)
            return;
        ArenaBlock& rest = pageBlocks_[from] = whole;
        rest.address = from;
        rest.size = to - from;
        statistics_.liveBytes += rest.size;
        ++statistics_.liveBlocks;
    };
    keep(whole.address, address);
    keep(end, wholeEnd);
    GiveRun(address, pages);
    ArenaBlock& freed = freedRuns_[address] = whole;
    freed.address = address;
    freed.size = pages * kPageSize;
    return EFI_SUCCESS;
}

} // namespace sim
