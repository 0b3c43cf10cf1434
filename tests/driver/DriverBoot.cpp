#include "tests/driver/DriverBoot.h"

#include "core/DriverState.h"
#include "library/cpu/CpuBackend.h"
#include "library/firmware/Services.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE*);

namespace kelm::test {

namespace {

constexpr unsigned kProgressCode = 1; // EFI_STATUS_CODE_TYPE

sim::MachineDescription MachineWith(std::string_view changes) {
    sim::MachineDescription machine = sim::ParseMachine(changes, "test");
    sim::ApplySetting(machine, "limits.timeSeconds=60");
    // The default machine boots an operating system; a test that wants one brings its own order.
    if (machine.root.contains("variables") && changes.find("BootOrder") == changes.npos) {
        for (const char* name : {"BootOrder", "Boot0000"}) {
            machine.root["variables"].erase(
                fmt::format("{}-8BE4DF61-93CA-11D2-AA0D-00E098032B8C", name));
        }
    }
    // Whatever else could be booted would get an option too.
    const auto names = [&](const char* device) {
        return changes.find(fmt::format("\"{}\"", device)) != changes.npos;
    };
    if (machine.root.contains("devices")) {
        for (const char* device : {"usb-front", "usb-back", "optical"}) {
            if (!names(device)) {
                machine.root["devices"].erase(device);
            }
        }
        if (machine.root["devices"].contains("system-disk") && !names("system-disk")) {
            machine.root["devices"]["system-disk"].erase("partitions");
        }
    }
    // Nobody sits in front of it; a test with keys for a tool says how that is left.
    for (const char* tool : {"setup", "bootManager", "diagnostics", "forgeline"}) {
        if (!names(tool)) {
            machine.root[tool]["leaveAfter"] = 0;
        }
    }
    return machine;
}

std::function<void(sim::Platform&)>* gBody = nullptr;

EFI_STATUS EFIAPI BodyEntry(EFI_HANDLE imageHandle, EFI_SYSTEM_TABLE* systemTable) {
    ResetDriverState();
    RunLibraryConstructors(imageHandle, systemTable);
    (*gBody)(sim::Platform::Current());
    return EFI_ABORTED; // nothing to boot
}

} // namespace

bool EndedAtThePrompt(const sim::BootResult& result) {
    return result.reason == sim::EndReason::TimeLimit ||
           result.reason == sim::EndReason::WaitingForKey;
}

DriverBoot::DriverBoot(std::string_view changes)
    : server(MachineWith(changes), sim::NvStore(),
             sim::DriverImage{
                 .nativeEntry = _ModuleEntryPoint, .peImage = {}, .setCpuBackend = &SetCpuBackend},
             trace) {}

void DriverBoot::AfterPhase(std::string title, std::function<void()> change) {
    changes_.emplace_back(std::move(title), std::move(change));
}

sim::BootResult DriverBoot::PowerOn() {
    firstEvent_ = trace.Events().size();
    trace.SetListener([this](const sim::Json& event) {
        if (event.at("event") != "measure" || event.at("edge") != "end") {
            return;
        }
        for (const auto& [title, change] : changes_) {
            if (event.at("token") == title) {
                change();
            }
        }
    });
    sim::BootResult result = server.PowerOn(prepare_);
    trace.SetListener({});
    EXPECT_EQ(result.violations, std::vector<std::string>{});
    return result;
}

std::vector<sim::Json> DriverBoot::Events(std::string_view kind) const {
    std::vector<sim::Json> found;
    for (std::size_t i = firstEvent_; i < trace.Events().size(); ++i) {
        if (trace.Events()[i].at("event") == kind) {
            found.push_back(trace.Events()[i]);
        }
    }
    return found;
}

std::vector<std::string> DriverBoot::DebugLines() const {
    std::vector<std::string> lines;
    for (const sim::Json& event : Events("debug")) {
        lines.push_back(event.at("text"));
    }
    return lines;
}

bool DriverBoot::Logged(std::string_view line, std::uint64_t level) const {
    for (const sim::Json& event : Events("debug")) {
        if (event.at("text") == line && event.at("level") == level) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> DriverBoot::StatusCodes() const {
    std::vector<std::string> codes;
    for (const sim::Json& event : Events("status-code")) {
        if (event.at("type") == kProgressCode) {
            codes.push_back(fmt::format("0x{:08X}", event.at("value").get<std::uint32_t>()));
        }
    }
    return codes;
}

std::vector<std::string> DriverBoot::Signals() const {
    std::vector<std::string> guids;
    for (const sim::Json& event : Events("signal")) {
        guids.push_back(event.at("guid"));
    }
    return guids;
}

std::vector<std::string> DriverBoot::Calls() const {
    std::vector<std::string> calls;
    for (const sim::Json& event : Events("protocol-call")) {
        calls.push_back(event.at("protocol").get<std::string>() + "." +
                        event.at("member").get<std::string>());
    }
    return calls;
}

std::vector<Measured> DriverBoot::Phases() const {
    std::vector<Measured> phases;
    bool wantsLine = false;
    for (std::size_t i = firstEvent_; i < trace.Events().size(); ++i) {
        const sim::Json& event = trace.Events()[i];
        if (event.at("event") == "measure") {
            wantsLine = event.at("edge") == "start" && event.at("module") == "BDS";
            if (wantsLine) {
                phases.push_back({event.at("token"), ""});
            }
        } else if (event.at("event") == "debug" && wantsLine && event.at("level") == 0x440) {
            const std::string text = event.at("text");
            phases.back().line = text.substr(0, text.size() - 1);
            wantsLine = false;
        }
    }
    return phases;
}

sim::BootResult RunInFirmware(std::string_view changes, std::function<void(sim::Platform&)> body,
                              sim::Trace* trace, sim::NvStore store) {
    sim::Trace own;
    gBody = &body;
    sim::Server server(
        MachineWith(changes), std::move(store),
        sim::DriverImage{.nativeEntry = BodyEntry, .peImage = {}, .setCpuBackend = &SetCpuBackend},
        trace != nullptr ? *trace : own);
    return server.PowerOn();
}

} // namespace kelm::test
