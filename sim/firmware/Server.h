// A server that stands in a rack: a machine, its variable store and a driver, switched on as often
// as one likes. The command line tool and the tests drive the platform through this.
#pragma once

#include "sim/firmware/Platform.h"
#include "sim/machine/NvStore.h"

#include <vector>

namespace sim {

class Server {
public:
    // `trace` collects the events of all boots; it outlives the server.
    Server(MachineDescription machine, NvStore store, DriverImage driver, Trace& trace);

    // One power-on to the end of its boot, with the store as the boots before left it. Throws
    // MachineFileError, only on the first power-on.
    BootResult PowerOn(const Platform::Prepare& prepare = {});
    // Power-ons until one ends in something else than a reset, `count` at the most.
    std::vector<BootResult> Boots(unsigned count);

    // Called when a boot has ended and its platform still stands: tests look at siblings here.
    void SetInspector(std::function<void(Platform&)> inspector) {
        inspector_ = std::move(inspector);
    }

    MachineDescription machine;
    NvStore store;
    DriverImage driver;
    unsigned boots = 0; // power-ons so far

private:
    Trace& trace_;
    std::function<void(Platform&)> inspector_;
};

} // namespace sim
