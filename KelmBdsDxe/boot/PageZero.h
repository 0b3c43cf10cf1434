// The first page of memory, which the firmware keeps unmapped to catch null pointers, and which a
// boot image may need (old loaders read the interrupt vectors and the BIOS data area).
//
// Requests nest: the page-table entry of the page itself counts them, in the bits that software may
// use, so that other code which opens the page counts in the same place. With four-level paging and
// with five-level paging; where a large page maps address 0 nothing is done.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Why a request did nothing; 0 for one that was carried out.
inline constexpr UINTN kPageZeroOpened = 0;
inline constexpr UINTN kPageZeroLargePage1G = 0x8001;
inline constexpr UINTN kPageZeroLargePage2M = 0x8002;
inline constexpr UINTN kPageZeroNoTable = 0x8003; // a table on the way is not present

// Counts one request more and makes the page present and writable.
UINTN BdsMakePageZeroAccessible();
// Counts one request less; the last one unmaps the page.
UINTN BdsMakePageZeroInaccessible();
// True when nobody has the page open and it is not mapped.
bool BdsIsPageZeroUnmapped();

} // namespace kelm
