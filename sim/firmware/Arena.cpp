#include "sim/firmware/Arena.h"

#include "sim/firmware/Sanitizer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <stdexcept>

namespace sim {

namespace {

void* Pointer(UINT64 address) {
    return reinterpret_cast<void*>(address);
}

const char* KindText(ArenaFaultKind kind) {
    switch (kind) {
    case ArenaFaultKind::DoubleFree:
        return "freed twice";
    case ArenaFaultKind::WrongFree:
        return "freed, but not allocated that way";
    case ArenaFaultKind::Underrun:
        return "written before its start";
    case ArenaFaultKind::Overrun:
        return "written behind its end";
    case ArenaFaultKind::WriteAfterFree:
        return "written after it was freed";
    }
    return "?";
}

UINT64 AttributesOf(EFI_MEMORY_TYPE type) {
    const UINT64 cacheable = EFI_MEMORY_UC | EFI_MEMORY_WC | EFI_MEMORY_WT | EFI_MEMORY_WB;
    const bool runtime = type == EfiRuntimeServicesCode || type == EfiRuntimeServicesData;
    return cacheable | (runtime ? EFI_MEMORY_RUNTIME : 0);
}

} // namespace

Arena::Arena(UINT64 base, UINT64 size) : base_(base), size_(size), top_(base) {
    void* const mapped =
        mmap(Pointer(base), size, PROT_NONE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE, -1, 0);
    if (mapped != Pointer(base)) {
        if (mapped != MAP_FAILED)
            munmap(mapped, size);
        throw std::runtime_error("the address range of the simulated memory is taken");
    }
    free_[base_] = size_ / kPageSize;
}

Arena::~Arena() {
    Unpoison(Pointer(base_), top_ - base_);
    munmap(Pointer(base_), size_);
}

void Arena::Reset() {
    Unpoison(Pointer(base_), top_ - base_);
    // Mapping anew throws the old contents away and makes everything unreachable again.
    if (mmap(Pointer(base_), size_, PROT_NONE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0) == MAP_FAILED)
        throw std::runtime_error("the simulated memory cannot be reset");
    top_ = base_;
    nextSequence_ = 1;
    mapKey_ = 1;
    failureCount_ = 0;
    failure_ = {};
    statistics_ = {};
    free_ = {{base_, size_ / kPageSize}};
    runs_.clear();
    live_.clear();
    resting_.clear();
    pageBlocks_.clear();
    freedRuns_.clear();
    pools_.clear();
}

// Whether this allocation must fail, because a test wants it or the limit is reached.
bool Arena::Refuse(UINT64 bytes, ArenaOwner owner) {
    bool refuse = limit_ != 0 && (bytes > limit_ || statistics_.liveBytes > limit_ - bytes);
    if (failure_.nth != 0 && (!failure_.owner || *failure_.owner == owner)) {
        ++failureCount_;
        refuse |=
            failureCount_ == failure_.nth || (failure_.andAllAfter && failureCount_ > failure_.nth);
    }
    if (refuse)
        ++statistics_.failures;
    return refuse;
}

ArenaBlock Arena::Account(UINT64 address, UINT64 size, EFI_MEMORY_TYPE type, ArenaOwner owner,
                          bool pages) {
    statistics_.liveBytes += size;
    statistics_.peakBytes = std::max(statistics_.peakBytes, statistics_.liveBytes);
    ++statistics_.liveBlocks;
    ++statistics_.allocations;
    return {address, size, type, nextSequence_++, owner, pages};
}

void Arena::Discount(UINT64 bytes) {
    statistics_.liveBytes -= bytes;
    --statistics_.liveBlocks;
    ++statistics_.frees;
}

std::size_t Arena::CheckAll() {
    std::size_t damaged = 0;
    const auto countNew = [&](Extent& extent, auto check) {
        const bool before = extent.reported;
        (this->*check)(extent);
        damaged += extent.reported && !before;
    };
    for (auto& [address, extent] : live_)
        countNew(extent, &Arena::CheckCanaries);
    for (auto& [address, extent] : resting_)
        countNew(extent, &Arena::CheckResting);
    return damaged;
}

std::vector<ArenaBlock> Arena::LiveBlocks(UINT64 sinceSequence) const {
    std::vector<ArenaBlock> blocks;
    for (const auto& [address, extent] : live_)
        if (extent.block.sequence >= sinceSequence)
            blocks.push_back(extent.block);
    for (const auto& [address, block] : pageBlocks_)
        if (block.sequence >= sinceSequence)
            blocks.push_back(block);
    std::stable_sort(blocks.begin(), blocks.end(), [](const ArenaBlock& a, const ArenaBlock& b) {
        return a.sequence < b.sequence;
    });
    return blocks;
}

std::optional<ArenaBlock> Arena::FindBlock(UINT64 address) const {
    const auto holds = [&](const ArenaBlock& block) {
        return address >= block.address && address - block.address < block.size;
    };
    if (auto next = live_.upper_bound(address); next != live_.begin())
        if (const ArenaBlock& block = std::prev(next)->second.block; holds(block))
            return block;
    if (auto next = pageBlocks_.upper_bound(address); next != pageBlocks_.begin())
        if (const ArenaBlock& block = std::prev(next)->second; holds(block))
            return block;
    return std::nullopt;
}

std::vector<EFI_MEMORY_DESCRIPTOR> Arena::MemoryMap() const {
    std::vector<EFI_MEMORY_DESCRIPTOR> map;
    const auto append = [&](UINT64 address, UINT64 pages, EFI_MEMORY_TYPE type) {
        if (!map.empty() && map.back().Type == type)
            map.back().NumberOfPages += pages;
        else
            map.push_back({type, address, 0, pages, AttributesOf(type)});
    };
    auto run = runs_.begin();
    auto hole = free_.begin();
    while (run != runs_.end() || hole != free_.end()) {
        if (hole == free_.end() || (run != runs_.end() && run->first < hole->first)) {
            append(run->first, run->second.pages, run->second.type);
            ++run;
        } else {
            append(hole->first, hole->second, EfiConventionalMemory);
            ++hole;
        }
    }
    return map;
}

// What is known about a free of something that is not there to be freed.
void Arena::ReportBadFree(UINT64 address) {
    if (const auto resting = resting_.find(address); resting != resting_.end())
        return Report(ArenaFaultKind::DoubleFree, address, &resting->second.block);
    if (const auto freed = freedRuns_.find(address); freed != freedRuns_.end())
        return Report(ArenaFaultKind::DoubleFree, address, &freed->second);
    const std::optional<ArenaBlock> around = FindBlock(address);
    Report(ArenaFaultKind::WrongFree, address, around ? &*around : nullptr);
}

void Arena::Report(ArenaFaultKind kind, UINT64 address, const ArenaBlock* block) {
    if (!faultHandler_)
        return;
    char text[256];
    if (block == nullptr)
        std::snprintf(text, sizeof(text), "memory at 0x%" PRIX64 " was %s", address,
                      KindText(kind));
    else
        std::snprintf(text, sizeof(text),
                      "%s block %" PRIu64 " at 0x%" PRIX64 " (%" PRIu64 " bytes, type %u%s%.*s) "
                      "was %s (at 0x%" PRIX64 ")",
                      block->pages ? "page" : "pool", block->sequence, block->address, block->size,
                      static_cast<unsigned>(block->type), block->owner.empty() ? "" : ", of ",
                      static_cast<int>(block->owner.size()), block->owner.data(), KindText(kind),
                      address);
    faultHandler_({kind, address, block != nullptr ? std::optional(*block) : std::nullopt, text});
}

} // namespace sim
