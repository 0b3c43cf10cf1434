#include "sim/firmware/PageTables.h"

#include "kelm/HobGuids.h"
#include "sim/firmware/HobList.h"
#include "sim/firmware/Platform.h"
#include "sim/siblings/MachineReader.h"

#include <stdexcept>

namespace sim {

namespace {

constexpr UINT64 kEntries = 512;
constexpr UINT64 kPageSize = 0x1000;
constexpr UINT64 kUsable = kPagePresent | kPageWritable;

UINT64 Address(const UINT64* table) {
    return reinterpret_cast<UINT64>(table);
}

// Maps each entry to itself from `first` on, entries being `size` bytes apart.
void MapToItself(UINT64* table, UINT64 first, UINT64 size, UINT64 flags) {
    for (UINT64 i = first; i < kEntries; i++) {
        table[i] = i * size | flags;
    }
}

} // namespace

PageTables::PageTables(Platform& platform) : platform_(platform) {
    fiveLevels_ = FlagAt(platform.machine, "/cpu/fiveLevelPaging", false);
    const Json& size = platform.machine.At("/cpu/firstPages");
    if (size == "2M") {
        firstPages_ = FirstPages::Large;
    } else if (size == "1G") {
        firstPages_ = FirstPages::Huge;
    }
}

UINT64* PageTables::NewTable() {
    UINT64 address = 0;
    if (EFI_ERROR(platform_.arena->AllocatePages(AllocateAnyPages, EfiBootServicesData, 1, &address,
                                                 kOwnerFirmware))) {
        throw std::runtime_error("no memory for page tables");
    }
    auto* table = reinterpret_cast<UINT64*>(address);
    for (UINT64 i = 0; i < kEntries; i++) {
        table[i] = 0;
    }
    return table;
}

void PageTables::Install() {
    UINT64* pointers = NewTable();
    MapToItself(pointers, 0, UINT64{1} << 30, kUsable | kPageLarge);
    if (firstPages_ != FirstPages::Huge) {
        UINT64* directory = NewTable();
        pointers[0] = Address(directory) | kUsable;
        MapToItself(directory, 0, UINT64{1} << 21, kUsable | kPageLarge);
        if (firstPages_ == FirstPages::Small) {
            UINT64* pages = NewTable();
            directory[0] = Address(pages) | kUsable;
            MapToItself(pages, 0, kPageSize, kUsable);
            pageZero_ = pages;
            const auto* detection = platform_.hobs->Find(gKelmNullPageDetectionHobGuid);
            if (detection != nullptr && !detection->empty() && detection->front() != 0) {
                *pageZero_ = 0;
            }
        }
    }
    UINT64* top = pointers;
    for (int levels = fiveLevels_ ? 2 : 1; levels > 0; levels--) {
        UINT64* above = NewTable();
        above[0] = Address(top) | kUsable;
        top = above;
    }
    SimulatedCpu& cpu = *platform_.cpu;
    cpu.PokeControlRegister(3, Address(top));
    if (fiveLevels_) {
        cpu.PokeControlRegister(4, cpu.PeekControlRegister(4) | kCr4FiveLevels);
    }
}

} // namespace sim
