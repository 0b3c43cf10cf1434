// Waiting for one of a few keys at the console.
#pragma once

#include "uefi/Base.h"

#include <span>

namespace kelm {

inline constexpr UINT64 kWaitForEver = 0;

// Forgets the keys that were pressed so far.
void DiscardKeys();
// Waits for one of the keys, by scan code, and returns it; other keys are dropped. SCAN_NULL when
// the time (in 100 ns) is over, or nothing can be waited for. Without a keyboard it looks every
// second whether one has been plugged.
UINT16 WaitForScanCode(std::span<const UINT16> accepted, UINT64 time);

} // namespace kelm
