#include "boot/PageZero.h"

#include "core/DriverState.h"
#include "library/cpu/Cpu.h"

namespace kelm {

namespace {

constexpr UINT64 kCr0WriteProtect = 1ull << 16;
constexpr UINT64 kCr4FiveLevelPaging = 1ull << 12;

constexpr UINT64 kEntryPresent = 1ull << 0;
constexpr UINT64 kEntryWritable = 1ull << 1;
constexpr UINT64 kEntryLargePage = 1ull << 7;
constexpr UINT64 kEntryAddress = 0x000FFFFFFFFFF000ull;
constexpr unsigned kCountShift = 52;
constexpr UINT64 kCountOne = 1ull << kCountShift;
constexpr UINT64 kCountMask = 0x7FFull << kCountShift;
constexpr UINT64 kEntryInUse = kCountMask | kEntryPresent | kEntryWritable;
static_assert(kEntryInUse == 0x7FF0000000000003ull);

UINT64* TableOf(UINT64 entry) {
    return reinterpret_cast<UINT64*>(entry & kEntryAddress);
}

// The page-table entry that maps address 0; null, with the reason, when there is none.
UINT64* FindEntry(UINTN& reason) {
    reason = kPageZeroNoTable;
    UINT64* table = TableOf(ReadCr3());
    if ((ReadCr4() & kCr4FiveLevelPaging) != 0) {
        if ((table[0] & kEntryPresent) == 0) {
            return nullptr;
        }
        table = TableOf(table[0]);
    }
    // From the top table down to the page table, always by entry 0.
    constexpr UINTN kLargePageReason[] = {0, kPageZeroLargePage1G, kPageZeroLargePage2M};
    for (const UINTN largePage : kLargePageReason) {
        const UINT64 entry = table[0];
        if ((entry & kEntryPresent) == 0) {
            return nullptr;
        }
        if (largePage != 0 && (entry & kEntryLargePage) != 0) {
            reason = largePage;
            return nullptr;
        }
        table = TableOf(entry);
    }
    reason = kPageZeroOpened;
    return table;
}

// Page tables may be read-only: writing them takes the write protection of the processor away.
// Returns the register as it was.
UINT64 AllowTableWrites() {
    const UINT64 cr0 = ReadCr0();
    if ((cr0 & kCr0WriteProtect) != 0) {
        WriteCr0(cr0 & ~kCr0WriteProtect);
    }
    return cr0;
}

// Replaces *entry by change(*entry) in one piece, and returns the new value.
template <class Change>
UINT64 UpdateAtomically(UINT64* entry, Change change) {
    UINT64 old = __atomic_load_n(entry, __ATOMIC_RELAXED);
    UINT64 wanted = change(old);
    while (!__atomic_compare_exchange_n(entry, &old, wanted, false, __ATOMIC_SEQ_CST,
                                        __ATOMIC_RELAXED)) {
        wanted = change(old);
    }
    return wanted;
}

} // namespace

UINTN BdsMakePageZeroAccessible() {
    UINTN reason = 0;
    UINT64* entry = FindEntry(reason);
    if (entry == nullptr) {
        return reason;
    }
    const UINT64 cr0 = AllowTableWrites();
    const UINT64 now = UpdateAtomically(
        entry, [](UINT64 value) { return (value + kCountOne) | kEntryPresent | kEntryWritable; });
    FlushTlbEntry(0);
    if ((now & kCountMask) == kCountOne) {
        gDriver.launch.pageZeroCr0 = cr0;
    }
    return kPageZeroOpened;
}

UINTN BdsMakePageZeroInaccessible() {
    UINTN reason = 0;
    UINT64* entry = FindEntry(reason);
    if (entry == nullptr) {
        return reason;
    }
    static_cast<void>(AllowTableWrites());
    const UINT64 now = UpdateAtomically(entry, [](UINT64 value) {
        value -= kCountOne;
        return (value & kCountMask) == 0 ? value & ~(kEntryPresent | kEntryWritable) : value;
    });
    FlushTlbEntry(0);
    if ((now & kCountMask) == 0) {
        WriteCr0(gDriver.launch.pageZeroCr0);
    }
    return kPageZeroOpened;
}

bool BdsIsPageZeroUnmapped() {
    UINTN reason = 0;
    const UINT64* entry = FindEntry(reason);
    if (entry == nullptr) {
        return reason == kPageZeroNoTable;
    }
    return (*entry & kEntryInUse) == 0;
}

} // namespace kelm
