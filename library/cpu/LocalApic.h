// The local interrupt controller of the processor that runs this code (Intel SDM volume 3, chapter
// "Advanced Programmable Interrupt Controller"), as far as a boot manager needs it.
#pragma once

#include "uefi/Base.h"

namespace kelm {

inline constexpr UINT32 kMsrApicBase = 0x1B;
inline constexpr UINT64 kApicBaseX2ApicEnabled = 1u << 10;
inline constexpr UINT64 kApicBaseAddressMask = 0x000FFFFFFFFFF000u;
inline constexpr UINT32 kLocalApicLvtTimerOffset = 0x320;
inline constexpr UINT32 kMsrX2ApicLvtTimer = 0x832;
inline constexpr UINT32 kLocalApicLvtMasked = 1u << 16;

// Masks the timer interrupt of this processor's local APIC, in whichever mode (memory or MSR) the
// APIC is. The timer keeps counting; the other bits of its vector register stay as they are.
void MaskLocalApicTimer();

} // namespace kelm
