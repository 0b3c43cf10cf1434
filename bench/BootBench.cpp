// A whole boot of the default machine, from reset to the default boot.

#include "library/cpu/CpuBackend.h"
#include "sim/firmware/Server.h"

#include <benchmark/benchmark.h>

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE*);

namespace {

void BootDefaultMachine(benchmark::State& state) {
    sim::MachineDescription machine = sim::LoadMachine("default");
    sim::ApplySetting(machine, "limits.timeSeconds=5");
    std::uint64_t events = 0;
    std::uint64_t peak = 0;
    for (auto _ : state) {
        sim::Trace trace;
        sim::Server server(machine, sim::NvStore(),
                           {.nativeEntry = _ModuleEntryPoint,
                            .peImage = {},
                            .setCpuBackend = &kelm::SetCpuBackend},
                           trace);
        server.SetInspector(
            [&](sim::Platform& platform) { peak = platform.arena->Statistics().peakBytes; });
        benchmark::DoNotOptimize(server.PowerOn());
        events = trace.Events().size();
    }
    state.counters["events"] = static_cast<double>(events);
    state.counters["pool_peak_bytes"] = static_cast<double>(peak);
}
BENCHMARK(BootDefaultMachine)->Unit(benchmark::kMillisecond);

} // namespace
