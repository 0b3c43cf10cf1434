// The page tables that the firmware of the simulated server has set up by the time that a boot
// manager runs (Intel SDM volume 3, chapter "Paging"): memory up to 512 GiB is mapped to itself,
// the first gibibyte as the machine file's "cpu" section says. Address 0 is not present when the
// null-page detection HOB asks for that and a page of 4 KiB maps it.
//
// They are the image's business alone: images read and change them through the address in CR3, the
// simulator itself translates nothing.
#pragma once

#include "uefi/Base.h"

namespace sim {

class Platform;

inline constexpr UINT64 kPagePresent = 1u << 0;
inline constexpr UINT64 kPageWritable = 1u << 1;
inline constexpr UINT64 kPageLarge = 1u << 7; // in a directory and in a directory pointer table
inline constexpr UINT64 kPageAddress = 0x000FFFFFFFFFF000u;
inline constexpr UINT64 kCr4FiveLevels = 1u << 12;

class PageTables {
public:
    // Reads "cpu". Throws MachineFileError.
    explicit PageTables(Platform& platform);
    PageTables(const PageTables&) = delete;
    PageTables& operator=(const PageTables&) = delete;

    // Writes the tables into pages of boot services data and the control registers.
    void Install();

    // What maps the page at address 0; nullptr when that is a part of a large page.
    UINT64* PageZeroEntry() const { return pageZero_; }

private:
    enum class FirstPages { Small, Large, Huge }; // 4 KiB, 2 MiB, 1 GiB

    UINT64* NewTable();

    Platform& platform_;
    bool fiveLevels_ = false;
    FirstPages firstPages_ = FirstPages::Small;
    UINT64* pageZero_ = nullptr;
};

} // namespace sim
