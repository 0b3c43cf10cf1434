// Small policies of the board.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// What happens when nothing could be booted.
inline constexpr UINT32 kBootSeqRetryDisabled = 0; // wait for a key
inline constexpr UINT32 kBootSeqRetryEnabled = 1;  // try again after a while
inline constexpr UINT32 kBootSeqRetryReset = 2;    // reset at once

// Answers a virtual power-cycle request; `fullPowerCycle`: a setting asks for one, too.
EFI_STATUS BdsCheckVacRequest(bool fullPowerCycle);
EFI_STATUS BdsSetNumLock();
// Locks the board's CPLD for the operating system; one that is locked already is left alone.
void BdsLockCpld();
// 0 when the memory test is turned off, 1 otherwise.
EFI_STATUS BdsGetMemTest(UINT32* setting);
// One of kBootSeqRetry...; kBootSeqRetryDisabled, and an error, when the setting cannot be read.
EFI_STATUS BdsGetBootSeqRetry(UINT32* setting);

} // namespace kelm
