#include "sim/firmware/Server.h"

namespace sim {

Server::Server(MachineDescription machineIn, NvStore storeIn, DriverImage driverIn, Trace& trace)
    : machine(std::move(machineIn)),
      store(std::move(storeIn)),
      driver(std::move(driverIn)),
      trace_(trace) {}

BootResult Server::PowerOn(const Platform::Prepare& prepare) {
    Platform platform(machine, store, trace_, ++boots);
    BootResult result = platform.Run(driver, prepare);
    if (inspector_) {
        inspector_(platform);
    }
    return result;
}

std::vector<BootResult> Server::Boots(unsigned count) {
    std::vector<BootResult> results;
    while (results.size() < count) {
        results.push_back(PowerOn());
        const EndReason reason = results.back().reason;
        if (reason != EndReason::ResetWarm && reason != EndReason::ResetCold) {
            break;
        }
    }
    return results;
}

} // namespace sim
