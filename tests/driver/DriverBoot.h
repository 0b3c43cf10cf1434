// A server with the real driver, for tests: boot it, change the driver's state at a chosen moment
// of the sequence, and look at what the boot left behind.
#pragma once

#include "sim/firmware/Platform.h"
#include "sim/firmware/Server.h"
#include "sim/machine/MachineDescription.h"
#include "sim/trace/Trace.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kelm::test {

struct Measured {
    std::string title;
    std::string line; // the log line that followed the start, without its line end
    bool operator==(const Measured&) const = default;
};

class DriverBoot {
public:
    // The default machine with these changes over it, without its boot options unless the changes
    // name a BootOrder; the boot stops after a few seconds in the default boot.
    explicit DriverBoot(std::string_view changes = "{}");

    // Runs when the measurement `title` ends, with the driver's own state within reach.
    void AfterPhase(std::string title, std::function<void()> change);
    // Drops what AfterPhase asked for, before another power-on.
    void ForgetChanges() { changes_.clear(); }
    // Runs once everything is installed and before the driver is loaded.
    void BeforeDriver(sim::Platform::Prepare prepare) { prepare_ = std::move(prepare); }
    // Runs when the boot has ended and the siblings still stand.
    void AtTheEnd(std::function<void(sim::Platform&)> inspect) {
        server.SetInspector(std::move(inspect));
    }

    sim::BootResult PowerOn();

    // Events of the last boot.
    std::vector<sim::Json> Events(std::string_view kind) const;
    std::vector<std::string> DebugLines() const;
    bool Logged(std::string_view line, std::uint64_t level) const;
    std::vector<std::string> StatusCodes() const; // "0x03811000", progress codes only
    std::vector<std::string> Signals() const;     // GUIDs
    std::vector<std::string> Calls() const;       // "Protocol.Member"
    // Measurements of module BDS whose titles are phases of the sequence, with their lines.
    std::vector<Measured> Phases() const;

    sim::Trace trace;
    sim::Server server;

private:
    std::size_t firstEvent_ = 0;
    sim::Platform::Prepare prepare_;
    std::vector<std::pair<std::string, std::function<void()>>> changes_;
};

// Whether a boot got to the default boot and found nothing to boot: it waits there for a key, or
// asks again and again, as a setting (which may be unreadable) says.
bool EndedAtThePrompt(const sim::BootResult& result);

// Runs `body` in place of the driver, on the driver's stack, with the library ready to use.
sim::BootResult RunInFirmware(std::string_view changes, std::function<void(sim::Platform&)> body,
                              sim::Trace* trace = nullptr, sim::NvStore store = {});

} // namespace kelm::test
