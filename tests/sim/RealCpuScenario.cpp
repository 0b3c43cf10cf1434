// The same calls with the real instructions: the shipped implementation under another name, so that
// it can stand beside the simulated one in this program.
#define kelm realcpu
#include "library/cpu/CpuX64.cpp"
#include "library/cpu/LocalApic.cpp"
#include "tests/sim/CpuScenario.h"

namespace realcpu {

std::vector<UINT64> RunRealCpuScenario(UINT64 device) {
    return RunCpuScenario(device);
}

} // namespace realcpu
