#include "sim/cli/BootCommand.h"

#include "library/cpu/CpuBackend.h"
#include "library/pure/GuidText.h"
#include "sim/cli/BootPrinter.h"
#include "sim/firmware/Faults.h"
#include "sim/firmware/PeImage.h"
#include "sim/firmware/Server.h"
#include "sim/machine/KeyNames.h"
#include "sim/machine/MachineDescription.h"
#include "sim/machine/NvStore.h"
#include "sim/siblings/Sibling.h"
#include "sim/terminal/TerminalSession.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <unistd.h>

// The driver that is linked into this program.
extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE*);

namespace sim {

namespace {

constexpr std::uintmax_t kMaxDriverSize = 64 * 1024 * 1024;
constexpr std::uint64_t kLongestSession = 1000000; // seconds; the most that "limits" takes

// A protocol that is left out must be one that would be there otherwise, or a GUID.
void CheckMissing(const MachineDescription& machine) {
    const std::vector<SiblingProtocol>& known = AllSiblingProtocols();
    std::size_t index = 0;
    for (const Json& entry : machine.At("/missing")) {
        const auto& name = entry.get_ref<const std::string&>();
        const bool found = kelm::GuidFromText(name) ||
                           std::any_of(known.begin(), known.end(),
                                       [&](const auto& protocol) { return protocol.name == name; });
        if (!found) {
            throw MachineFileError(machine.file, fmt::format("/missing/{}", index),
                                   fmt::format("there is no protocol \"{}\"; `kelm-sim protocols` "
                                               "lists them",
                                               name));
        }
        index++;
    }
}

// The keys of --keys, in any of its forms.
Json KeysOf(const BootOptions& options) {
    if (options.keys.starts_with('@')) {
        return LoadKeys(options.keys.substr(1));
    }
    if (options.keys.starts_with('[')) {
        return ParseKeys(options.keys, "--keys");
    }
    return ParseKeyList(options.keys);
}

MachineDescription MachineOf(const BootOptions& options, const Json& keys) {
    MachineDescription machine = LoadMachine(options.machine);
    if (options.interactive) {
        // Nobody shall be sent away after an hour, unless --set asks for it.
        machine.root["limits"]["timeSeconds"] = kLongestSession;
    }
    for (const std::string& setting : options.settings) {
        ApplySetting(machine, setting);
    }
    for (const Json& key : keys) {
        machine.root["keys"].push_back(key);
    }
    CheckMissing(machine);
    return machine;
}

NvStore StoreOf(const BootOptions& options) {
    if (options.nvram.empty()) {
        return NvStore();
    }
    try {
        return NvStore(options.nvram, std::cerr);
    } catch (const std::runtime_error& error) {
        throw UsageError(error.what());
    }
}

// Throws UsageError unless it is a regular file of a size that a driver can have.
void CheckDriverFile(const std::string& name) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(name, error);
    if (error) {
        throw UsageError(fmt::format("{}: {}", name, error.message()));
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw UsageError(fmt::format("{}: not a usable driver: not a regular file", name));
    }
    const std::uintmax_t size = std::filesystem::file_size(name, error);
    if (error || size > kMaxDriverSize) {
        throw UsageError(fmt::format("{}: not a usable driver: {}", name,
                                     error ? error.message() : "the file is longer than 64 MiB"));
    }
}

DriverImage DriverOf(const BootOptions& options) {
    DriverImage driver;
    if (options.driver.empty()) {
        driver.nativeEntry = &_ModuleEntryPoint;
        driver.setCpuBackend = &kelm::SetCpuBackend;
        return driver;
    }
    CheckDriverFile(options.driver);
    errno = 0;
    std::ifstream stream(options.driver, std::ios::binary);
    driver.peImage.assign(std::istreambuf_iterator<char>(stream), {});
    if (!stream || stream.bad()) {
        throw UsageError(fmt::format("{}: {}", options.driver, std::strerror(errno)));
    }
    PeHeader header;
    PeResult result = ReadPeHeader(driver.peImage, header);
    if (result == PeResult::Ok) {
        result = CheckPeTarget(header);
    }
    if (result != PeResult::Ok) {
        throw UsageError(
            fmt::format("{}: not a usable driver: {}", options.driver, PeResultText(result)));
    }
    return driver;
}

bool WantsColour() {
    const char* refused = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (refused == nullptr || *refused == '\0');
}

// Nothing unless the user wants to sit at the server.
std::unique_ptr<TerminalSession> SessionOf(const BootOptions& options, const Json& keys) {
    if (!options.interactive) {
        return nullptr;
    }
    try {
        return std::make_unique<TerminalSession>(
            TerminalSession::Options{options.speed, WantsColour(), options.record, keys});
    } catch (const TerminalError& error) {
        throw UsageError(fmt::format("--interactive: {}", error.what()));
    } catch (const std::runtime_error& error) {
        throw UsageError(fmt::format("--record: {}", error.what()));
    }
}

// One power-on, before the eyes of whoever sits there.
BootResult PowerOn(Server& server, TerminalSession* session) {
    if (session == nullptr) {
        return server.PowerOn();
    }
    try {
        session->Open();
    } catch (const TerminalError& error) {
        throw UsageError(fmt::format("--interactive: {}", error.what()));
    }
    const BootResult result =
        server.PowerOn([&](Platform& platform) { session->SitDown(platform); });
    session->Close();
    return result;
}

bool IsReset(EndReason reason) {
    return reason == EndReason::ResetWarm || reason == EndReason::ResetCold;
}

} // namespace

ExitStatus StatusOf(EndReason reason) {
    switch (reason) {
    case EndReason::OsStarted:
        return ExitStatus::OsStarted;
    case EndReason::ResetWarm:
    case EndReason::ResetCold:
    case EndReason::Shutdown:
        return ExitStatus::Reset;
    case EndReason::Halted:
        return ExitStatus::Halted;
    case EndReason::WaitingForKey:
        return ExitStatus::WaitingForKey;
    case EndReason::TimeLimit:
        return ExitStatus::TimeLimit;
    case EndReason::SwitchedOff:
        return ExitStatus::SwitchedOff;
    }
    return ExitStatus::ToolFault;
}

ExitStatus RunBoot(const BootOptions& options) {
    const Json keys = KeysOf(options);
    MachineDescription machine = MachineOf(options, keys);
    DriverImage driver = DriverOf(options);
    NvStore store = StoreOf(options);
    Trace trace;
    std::ofstream traceFile;
    if (!options.trace.empty()) {
        errno = 0;
        traceFile.open(options.trace, std::ios::binary | std::ios::trunc);
        if (!traceFile) {
            throw UsageError(fmt::format("{}: {}", options.trace, std::strerror(errno)));
        }
        trace.AttachStream(&traceFile);
    }
    BootPrinter printer(std::cout, {options.log, options.screenOnly, WantsColour()});
    const std::unique_ptr<TerminalSession> session = SessionOf(options, keys);
    trace.SetListener([&](const Json& event) {
        if (session == nullptr) {
            printer.See(event);
        } else if (const auto phase = AnnouncedPhase(event)) {
            session->ShowPhase(*phase);
        }
    });

    Server server(std::move(machine), std::move(store), std::move(driver), trace);
    // Most often a member that is misspelt, or a call that this boot does not make.
    std::vector<std::string> unmet;
    server.SetInspector([&](Platform& platform) {
        unmet = platform.faults->Unmet();
        if (session != nullptr) {
            session->Leave(platform);
        }
    });
    ExitStatus status = ExitStatus::ToolFault;
    bool violated = false;
    for (unsigned boot = 1; boot <= options.boots; boot++) {
        const BootResult result = PowerOn(server, session.get());
        for (const std::string& fault : unmet) {
            std::cerr << "kelm-sim: a fault never happened: " << fault << '\n';
        }
        printer.End(result, boot);
        for (const std::string& violation : result.violations) {
            std::cerr << fmt::format("boot {}: violation: {}\n", boot, violation);
            violated = true;
        }
        status = StatusOf(result.reason);
        if (!IsReset(result.reason)) {
            break;
        }
    }
    if (traceFile.is_open() && !traceFile.flush()) {
        std::cerr << fmt::format("kelm-sim: {}: the trace could not be written\n", options.trace);
        return ExitStatus::ToolFault;
    }
    return violated ? ExitStatus::Violation : status;
}

} // namespace sim
