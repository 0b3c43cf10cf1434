// The arena's pool: blocks between canaries, cut from chunks of pages of one memory type.
//
// Around a block of n bytes: 16 canary bytes, the block, canary bytes to the end of its extent, at
// least 8. Extents come in few sizes; a freed one rests until enough others of its size have been
// freed after it.
#include "sim/firmware/Arena.h"
#include "sim/firmware/ArenaTypes.h"
#include "sim/firmware/Sanitizer.h"

#include <bit>
#include <cstring>

namespace sim {

namespace {

constexpr UINT64 kAlignment = 16;
constexpr UINT64 kLeadingCanary = 16;
constexpr UINT64 kShortestTrailingCanary = 8;
constexpr UINT8 kCanary = 0xC7;
constexpr UINT64 kChunkPages = 32;
constexpr UINT64 kLargestShared = 16 * 1024; // larger extents get pages of their own
constexpr std::size_t kRestingBlocks = 16;

UINT8* Bytes(UINT64 address) {
    return reinterpret_cast<UINT8*>(address);
}

UINT64 RoundUp(UINT64 value, UINT64 unit) {
    return (value + unit - 1) / unit * unit;
}

// Steps of 16 bytes up to 128, then four steps to each doubling, then whole pages.
UINT64 ExtentSize(UINT64 size) {
    const UINT64 least = kLeadingCanary + size + kShortestTrailingCanary;
    if (least > kLargestShared)
        return RoundUp(least, Arena::kPageSize);
    return least <= 128 ? RoundUp(least, kAlignment) : RoundUp(least, std::bit_floor(least) / 4);
}

// The address of the first byte in start...end that is not `expected`, 0 when all are.
UINT64 FirstOther(UINT64 start, UINT64 end, UINT8 expected) {
    for (UINT64 at = start; at < end; ++at)
        if (*Bytes(at) != expected)
            return at;
    return 0;
}

} // namespace

UINT64 Arena::TakeExtent(EFI_MEMORY_TYPE type, UINT64 extentSize) {
    if (extentSize > kLargestShared) {
        const UINT64 pages = extentSize / kPageSize;
        const UINT64 found = FindFree(pages, base_, base_ + size_ - 1);
        return found == 0 ? 0 : TakeRun(found, pages, type);
    }
    Pool& pool = pools_[type];
    std::deque<UINT64>& resting = pool.resting[extentSize];
    if (resting.size() > kRestingBlocks)
        return TakeResting(resting);
    if (pool.end - pool.next < extentSize) {
        const UINT64 found = FindFree(kChunkPages, base_, base_ + size_ - 1);
        if (found == 0 || TakeRun(found, kChunkPages, type) == 0)
            return TakeResting(resting);
        pool.next = found;
        pool.end = found + kChunkPages * kPageSize;
        Poison(Bytes(found), kChunkPages * kPageSize);
    }
    const UINT64 start = pool.next;
    pool.next += extentSize;
    return start;
}

// The longest-resting extent, 0 when there is none.
UINT64 Arena::TakeResting(std::deque<UINT64>& resting) {
    if (resting.empty())
        return 0;
    const auto extent = resting_.find(resting.front());
    resting.pop_front();
    const UINT64 start = extent->second.start;
    CheckResting(extent->second);
    resting_.erase(extent);
    return start;
}

EFI_STATUS Arena::AllocatePool(EFI_MEMORY_TYPE type, UINT64 size, void** buffer, ArenaOwner owner) {
    if (buffer == nullptr || !CanAllocate(type))
        return EFI_INVALID_PARAMETER;
    if (Refuse(size, owner))
        return EFI_OUT_OF_RESOURCES;
    const UINT64 extentSize = size < size_ ? ExtentSize(size) : 0;
    const UINT64 start = extentSize == 0 ? 0 : TakeExtent(type, extentSize);
    if (start == 0) {
        ++statistics_.failures;
        return EFI_OUT_OF_RESOURCES;
    }
    const UINT64 address = start + kLeadingCanary;
    const UINT64 end = start + extentSize;
    Unpoison(Bytes(start), extentSize);
    std::memset(Bytes(start), kCanary, kLeadingCanary);
    std::memset(Bytes(address), kFill, size);
    std::memset(Bytes(address + size), kCanary, end - address - size);
    Poison(Bytes(start), kLeadingCanary);
    Poison(Bytes(address + size), end - address - size);
    live_[address] = {Account(address, size, type, owner, false), start, end};
    *buffer = Bytes(address);
    return EFI_SUCCESS;
}

EFI_STATUS Arena::FreePool(void* buffer) {
    const UINT64 address = reinterpret_cast<UINT64>(buffer);
    const auto found = live_.find(address);
    if (found == live_.end()) {
        ReportBadFree(address);
        return EFI_INVALID_PARAMETER;
    }
    CheckCanaries(found->second);
    Extent extent = found->second;
    if (freeHandler_)
        freeHandler_(extent.block);
    live_.erase(found);
    Discount(extent.block.size);
    const UINT64 extentSize = extent.end - extent.start;
    if (extentSize > kLargestShared) {
        GiveRun(extent.start, extentSize / kPageSize);
        freedRuns_[address] = extent.block;
        return EFI_SUCCESS;
    }
    Unpoison(Bytes(extent.start), extentSize);
    std::memset(Bytes(extent.start), kFill, extentSize);
    Poison(Bytes(extent.start), extentSize);
    extent.reported = false;
    resting_[address] = extent;
    pools_[extent.block.type].resting[extentSize].push_back(address);
    return EFI_SUCCESS;
}

void Arena::CheckCanaries(Extent& extent) {
    if (extent.reported)
        return;
    const UINT64 end = extent.block.address + extent.block.size;
    Unpoison(Bytes(extent.start), extent.end - extent.start);
    const UINT64 before = FirstOther(extent.start, extent.block.address, kCanary);
    const UINT64 behind = FirstOther(end, extent.end, kCanary);
    Poison(Bytes(extent.start), kLeadingCanary);
    Poison(Bytes(end), extent.end - end);
    extent.reported = before != 0 || behind != 0;
    if (before != 0)
        Report(ArenaFaultKind::Underrun, before, &extent.block);
    if (behind != 0)
        Report(ArenaFaultKind::Overrun, behind, &extent.block);
}

void Arena::CheckResting(Extent& extent) {
    if (extent.reported)
        return;
    Unpoison(Bytes(extent.start), extent.end - extent.start);
    const UINT64 written = FirstOther(extent.start, extent.end, kFill);
    Poison(Bytes(extent.start), extent.end - extent.start);
    extent.reported = written != 0;
    if (written != 0)
        Report(ArenaFaultKind::WriteAfterFree, written, &extent.block);
}

} // namespace sim
