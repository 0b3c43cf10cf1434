// The driver's one seam to the processor: I/O ports, model-specific registers, control registers,
// the TLB, interrupts, and device registers in memory. Two sources implement it and the link
// chooses one: CpuX64.cpp executes the instructions, CpuSimulated.cpp calls a backend
// (CpuBackend.h).
//
// None of these calls can fail. What nothing answers reads as all ones and takes writes silently,
// as a floating bus does. There is no time stamp counter here: a boot takes its time from timers.
//
// Ordinary memory, page tables included, is read and written through pointers; only device
// registers go through the Mmio functions, which access exactly once with exactly the width in
// their name.
#pragma once

#include "uefi/Base.h"

namespace kelm {

UINT8 IoRead8(UINT16 port);
UINT16 IoRead16(UINT16 port);
UINT32 IoRead32(UINT16 port);
void IoWrite8(UINT16 port, UINT8 value);
void IoWrite16(UINT16 port, UINT16 value);
void IoWrite32(UINT16 port, UINT32 value);

UINT8 MmioRead8(UINT64 address);
UINT16 MmioRead16(UINT64 address);
UINT32 MmioRead32(UINT64 address);
UINT64 MmioRead64(UINT64 address);
void MmioWrite8(UINT64 address, UINT8 value);
void MmioWrite16(UINT64 address, UINT16 value);
void MmioWrite32(UINT64 address, UINT32 value);
void MmioWrite64(UINT64 address, UINT64 value);

// Reading or writing a register that the processor does not have is a fault of the machine: the
// caller knows that it exists.
UINT64 ReadMsr(UINT32 index);
void WriteMsr(UINT32 index, UINT64 value);

UINT64 ReadCr0();
UINT64 ReadCr3();
UINT64 ReadCr4();
void WriteCr0(UINT64 value);
void WriteCr3(UINT64 value);

// Forgets the cached translation of the page that holds `address`, on this processor only.
void FlushTlbEntry(UINT64 address);

void DisableInterrupts();
void EnableInterrupts();

// Stops this processor until the next interrupt. May return: who wants to stop for good loops.
void Halt();

// Stops this processor for good: only a reset leaves this.
[[noreturn]] inline void HaltForever() {
    for (;;) {
        DisableInterrupts();
        Halt();
    }
}

// A hint for a loop that waits for another processor. Never visible to the simulator.
inline void CpuPause() {
    __builtin_ia32_pause();
}

} // namespace kelm
