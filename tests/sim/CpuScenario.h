// Every call of the processor seam once, for whichever implementation `kelm` stands for here.
#pragma once

#include "library/cpu/Cpu.h"
#include "library/cpu/LocalApic.h"

#include <vector>

namespace kelm {

// Ports 0x80...0x83 and a device page at `device` belong to a device. Returns all that was read.
inline std::vector<UINT64> RunCpuScenario(UINT64 device) {
    std::vector<UINT64> read;
    IoWrite8(0x80, 0x12);
    IoWrite16(0x80, 0x3456);
    IoWrite32(0x80, 0x789ABCDE);
    read.insert(read.end(), {IoRead8(0x80), IoRead16(0x80), IoRead32(0x80)});
    read.insert(read.end(), {IoRead8(0xFFFF), IoRead16(0x2E), IoRead32(0xCF8)}); // nobody there
    MmioWrite64(device, 0x1122334455667788);
    MmioWrite32(device + 8, 0x99AABBCC);
    MmioWrite16(device + 0xFFE, 0xDDEE);
    MmioWrite8(device + 1, 0xFF);
    read.insert(read.end(), {MmioRead64(device), MmioRead32(device + 8), MmioRead16(device + 0xFFE),
                             MmioRead8(device + 1)});
    WriteMsr(0x277, 0x0007010600070106);
    read.insert(read.end(), {ReadMsr(0x277), ReadMsr(0xFE), ReadMsr(0x1234)});
    WriteCr0(ReadCr0() & ~UINT64{0x10000});
    WriteCr3(0x20001000);
    read.insert(read.end(), {ReadCr0(), ReadCr3(), ReadCr4()});
    DisableInterrupts();
    FlushTlbEntry(0x1000);
    EnableInterrupts();
    MaskLocalApicTimer();
    WriteMsr(kMsrApicBase, ReadMsr(kMsrApicBase) | kApicBaseX2ApicEnabled);
    MaskLocalApicTimer();
    Halt();
    return read;
}

} // namespace kelm
