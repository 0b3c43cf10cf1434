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

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iostream>
#include <iterator>
#include <unistd.h>

// The driver that is linked into this program.
extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE*);

namespace sim {

namespace {

constexpr std::uintmax_t kMaxDriverSize = 64 * 1024 * 1024;

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

MachineDescription MachineOf(const BootOptions& options) {
    MachineDescription machine = LoadMachine(options.machine);
    for (const std::string& setting : options.settings) {
        ApplySetting(machine, setting);
    }
    for (const Json& key : ParseKeyList(options.keys)) {
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
    }
    return ExitStatus::ToolFault;
}

ExitStatus RunBoot(const BootOptions& options) {
    MachineDescription machine = MachineOf(options);
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
    trace.SetListener([&](const Json& event) { printer.See(event); });

    Server server(std::move(machine), std::move(store), std::move(driver), trace);
    // Most often a member that is misspelt, or a call that this boot does not make.
    server.SetInspector([](Platform& platform) {
        for (const std::string& fault : platform.faults->Unmet()) {
            std::cerr << "kelm-sim: a fault never happened: " << fault << '\n';
        }
    });
    ExitStatus status = ExitStatus::ToolFault;
    bool violated = false;
    for (unsigned boot = 1; boot <= options.boots; boot++) {
        const BootResult result = server.PowerOn();
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
