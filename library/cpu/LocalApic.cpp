#include "library/cpu/LocalApic.h"

#include "library/cpu/Cpu.h"

namespace kelm {

void MaskLocalApicTimer() {
    const UINT64 apicBase = ReadMsr(kMsrApicBase);
    if ((apicBase & kApicBaseX2ApicEnabled) != 0) {
        WriteMsr(kMsrX2ApicLvtTimer, ReadMsr(kMsrX2ApicLvtTimer) | kLocalApicLvtMasked);
        return;
    }
    const UINT64 timer = (apicBase & kApicBaseAddressMask) + kLocalApicLvtTimerOffset;
    MmioWrite32(timer, MmioRead32(timer) | kLocalApicLvtMasked);
}

} // namespace kelm
