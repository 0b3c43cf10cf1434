// The memory of the simulated server that its firmware allocates: pages and pool at a fixed
// address, handed out in an order that depends on nothing but the calls made. An address in a log
// line or in a variable is therefore the same in every run, on every host and in both builds of the
// driver.
//
// The arena is stricter than hardware. Fresh and freed memory reads as 0xAF; a pool block stands
// between canaries; freed blocks rest before they are used again, and a write into one is noticed
// then. Bookkeeping lies outside of the arena, out of reach of the code that runs in it. Built with
// the address sanitizer, everything that is not allocated is poisoned.
#pragma once

#include "uefi/BootServices.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// Who allocated a block: a literal such as "driver", for reports and filters.
using ArenaOwner = std::string_view;

struct ArenaBlock {
    UINT64 address; // as handed out
    UINT64 size;    // bytes as asked for; whole pages for pages
    EFI_MEMORY_TYPE type;
    UINT64 sequence; // 1 for the first allocation after Reset()
    ArenaOwner owner;
    bool pages;
};

enum class ArenaFaultKind {
    DoubleFree,     // the block was freed before
    WrongFree,      // not the start of a live block, or pages given to FreePool() and so on
    Underrun,       // written before the block
    Overrun,        // written behind the block
    WriteAfterFree, // a freed block was written
};

struct ArenaFault {
    ArenaFaultKind kind;
    UINT64 address;                  // that was freed, or the first damaged byte
    std::optional<ArenaBlock> block; // the block concerned, where one is known
    std::string text;                // one line for people
};

struct ArenaStatistics {
    UINT64 liveBytes = 0;
    UINT64 peakBytes = 0;
    UINT64 liveBlocks = 0;
    UINT64 allocations = 0; // successful ones
    UINT64 frees = 0;
    UINT64 failures = 0; // allocations refused for want of memory, real or injected
};

// Which allocation to refuse with EFI_OUT_OF_RESOURCES.
struct ArenaFailure {
    UINT64 nth = 0;                       // counted from 1 when the failure is set; 0: none
    bool andAllAfter = false;             // or only that one
    std::optional<ArenaOwner> owner = {}; // count and fail only these
};

class Arena {
public:
    static constexpr UINT64 kDefaultBase = 0x20000000u;
    static constexpr UINT64 kDefaultSize = 0x20000000u;
    static constexpr UINT64 kPageSize = 0x1000;
    static constexpr UINT8 kFill = 0xAF;

    // Reserves the address range; throws std::runtime_error when it is taken (one arena at a time).
    explicit Arena(UINT64 base = kDefaultBase, UINT64 size = kDefaultSize);
    ~Arena();
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    // Forgets every block, the failure and the statistics, and gives the memory back to the host:
    // the next boot sees the addresses that this one saw. The limit and the callback stay.
    void Reset();

    // UEFI AllocatePool()/FreePool(): 16-byte aligned, also for 0 bytes. EFI_INVALID_PARAMETER for
    // a type that cannot be allocated or an address that is not a live block (reported as a fault);
    // EFI_OUT_OF_RESOURCES.
    EFI_STATUS AllocatePool(EFI_MEMORY_TYPE type, UINT64 size, void** buffer,
                            ArenaOwner owner = {});
    EFI_STATUS FreePool(void* buffer);

    // UEFI AllocatePages()/FreePages(). `address` is read for AllocateMaxAddress (the last byte
    // must not lie above it) and AllocateAddress. EFI_INVALID_PARAMETER: kind, type, alignment or 0
    // pages; EFI_OUT_OF_RESOURCES: none left; EFI_NOT_FOUND: that address is not free, or (reported
    // as a fault) pages to be freed are not allocated. A part of an allocation may be freed.
    EFI_STATUS AllocatePages(EFI_ALLOCATE_TYPE kind, EFI_MEMORY_TYPE type, UINT64 pages,
                             UINT64* address, ArenaOwner owner = {});
    EFI_STATUS FreePages(UINT64 address, UINT64 pages);

    // Called for each fault when it is found. It records and returns: it must neither throw nor end
    // the boot, nor call the arena.
    using FaultHandler = std::function<void(const ArenaFault&)>;
    void SetFaultHandler(FaultHandler handler) { faultHandler_ = std::move(handler); }

    // Called for each pool block when it is freed, while its bytes still stand there. It may read
    // them and nothing else, like a fault handler.
    using FreeHandler = std::function<void(const ArenaBlock&)>;
    void SetFreeHandler(FreeHandler handler) { freeHandler_ = std::move(handler); }

    // Looks at the canaries of all live blocks and at the freed ones that rest. Returns the number
    // of damaged blocks; each is reported once.
    std::size_t CheckAll();

    // Live bytes may not exceed this; 0 takes the limit away.
    void SetLimit(UINT64 bytes) { limit_ = bytes; }
    void SetFailure(ArenaFailure failure) {
        failure_ = failure;
        failureCount_ = 0;
    }

    // Live blocks, oldest first. `sinceSequence` leaves out older ones: take NextSequence() before
    // an operation, list after it, and what is left is what the operation kept.
    std::vector<ArenaBlock> LiveBlocks(UINT64 sinceSequence = 0) const;
    UINT64 NextSequence() const { return nextSequence_; }
    // The live block that holds `address`.
    std::optional<ArenaBlock> FindBlock(UINT64 address) const;
    bool Contains(UINT64 address) const { return address >= base_ && address - base_ < size_; }
    const ArenaStatistics& Statistics() const { return statistics_; }
    // Begins to look for the peak anew, from what is live now.
    void RestartPeak() { statistics_.peakBytes = statistics_.liveBytes; }

    // The arena's part of GetMemoryMap(): sorted, without gaps, neighbours of one type joined. The
    // key changes whenever the map does.
    std::vector<EFI_MEMORY_DESCRIPTOR> MemoryMap() const;
    UINT64 MapKey() const { return mapKey_; }

    UINT64 Base() const { return base_; }
    UINT64 Size() const { return size_; }

private:
    // A run of pages of one type.
    struct Run {
        UINT64 pages;
        EFI_MEMORY_TYPE type;
    };
    // A pool block, live or freed, with the canaries around it.
    struct Extent {
        ArenaBlock block;
        UINT64 start; // of the leading canary
        UINT64 end;   // of the trailing canary
        bool reported = false;
    };
    // Memory of one type that pool blocks are cut from.
    struct Pool {
        UINT64 next = 0; // the unused rest of its newest chunk
        UINT64 end = 0;
        std::map<UINT64, std::deque<UINT64>> resting; // freed, oldest first, by size of extent
    };

    bool Refuse(UINT64 bytes, ArenaOwner owner);
    ArenaBlock Account(UINT64 address, UINT64 size, EFI_MEMORY_TYPE type, ArenaOwner owner,
                       bool pages);
    void Discount(UINT64 bytes);
    UINT64 FindFree(UINT64 pages, UINT64 lowest, UINT64 highest) const;
    UINT64 TakeRun(UINT64 address, UINT64 pages, EFI_MEMORY_TYPE type);
    void GiveRun(UINT64 address, UINT64 pages);
    UINT64 TakeExtent(EFI_MEMORY_TYPE type, UINT64 extentSize);
    UINT64 TakeResting(std::deque<UINT64>& resting);
    void CheckCanaries(Extent& extent);
    void CheckResting(Extent& extent);
    void ReportBadFree(UINT64 address);
    void Report(ArenaFaultKind kind, UINT64 address, const ArenaBlock* block);

    UINT64 base_;
    UINT64 size_;
    UINT64 top_; // nothing above was ever handed out since the last reset
    UINT64 limit_ = 0;
    UINT64 nextSequence_ = 1;
    UINT64 mapKey_ = 1;
    UINT64 failureCount_ = 0;
    ArenaFailure failure_;
    ArenaStatistics statistics_;
    FaultHandler faultHandler_;
    FreeHandler freeHandler_;
    std::map<UINT64, UINT64> free_;           // free pages: address, pages; neighbours joined
    std::map<UINT64, Run> runs_;              // pages in use
    std::map<UINT64, Extent> live_;           // pool blocks by their address
    std::map<UINT64, Extent> resting_;        // freed pool blocks by their address
    std::map<UINT64, ArenaBlock> pageBlocks_; // blocks of pages by their address
    std::map<UINT64, ArenaBlock> freedRuns_;  // blocks whose pages went back to free_
    std::map<EFI_MEMORY_TYPE, Pool> pools_;
};

} // namespace sim
