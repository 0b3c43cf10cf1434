#include "sim/firmware/ConsoleSplitter.h"

#include "sim/firmware/DxeCore.h"
#include "sim/firmware/Keyboard.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr const char* kBuiltInName = "console";

bool DescribesConsoles(const MachineDescription& machine) {
    constexpr auto kKinds =
        std::to_array<std::string_view>({"video", "serial", "usb-keyboard", "usb-serial"});
    if (!machine.At("/consoles").is_null()) {
        return true;
    }
    const Json& devices = machine.At("/devices");
    return std::any_of(devices.begin(), devices.end(), [&](const Json& device) {
        const std::string kind = device.value("kind", std::string());
        return std::find(kKinds.begin(), kKinds.end(), kind) != kKinds.end();
    });
}

} // namespace

ConsoleSplitter::ConsoleSplitter(Platform& platform)
    : platform_(platform),
      builtIn_(!DescribesConsoles(platform.machine)),
      error_(platform, Screen::Tracing::Off) {}

void ConsoleSplitter::Install() {
    HandleDatabase& handles = *platform_.handles;
    Keyboard& keyboard = *platform_.keyboard;
    Screen& screen = *platform_.screen;
    keyboard.PowerOn();
    handles.Install(&inputHandle_, ProtocolGuid<EFI_SIMPLE_TEXT_INPUT_PROTOCOL>::value,
                    keyboard.Protocol());
    handles.Install(&inputHandle_, ProtocolGuid<EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL>::value,
                    keyboard.ProtocolEx());
    outputHandle_ = builtIn_ ? inputHandle_ : nullptr;
    handles.Install(&outputHandle_, ProtocolGuid<EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL>::value,
                    screen.Protocol());
    if (builtIn_) {
        screen.AttachBuiltIn();
        NameConIn();
        NameConOut();
        EFI_SYSTEM_TABLE& table = *platform_.SystemTable();
        table.StandardErrorHandle = outputHandle_;
        table.StdErr = screen.Protocol();
        platform_.core->SystemTableChanged();
    } else {
        handles.Install(&errorHandle_, ProtocolGuid<EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL>::value,
                        error_.Protocol());
    }
}

// ---- Devices

void ConsoleSplitter::AttachInput(const std::string& device) {
    inputs_.push_back(device);
    platform_.trace.Record("console", {{"op", "attach"}, {"for", "in"}, {"device", device}});
    if (inputs_.size() == 1) {
        NameConIn();
    }
}

void ConsoleSplitter::DetachInput(const std::string& device) {
    const auto found = std::find(inputs_.begin(), inputs_.end(), device);
    if (found != inputs_.end()) {
        inputs_.erase(found);
        platform_.trace.Record("console", {{"op", "detach"}, {"for", "in"}, {"device", device}});
    }
}

void ConsoleSplitter::AttachOutput(TextOutput& output, const std::string& device) {
    AddName(output, device);
    platform_.trace.Record("console", {{"op", "attach"}, {"for", "out"}, {"device", device}});
    platform_.screen->Attach(output);
    if (platform_.screen->Outputs().size() == 1) {
        NameConOut();
    }
}

void ConsoleSplitter::DetachOutput(TextOutput& output) {
    platform_.screen->Detach(output);
    platform_.trace.Record("console",
                           {{"op", "detach"}, {"for", "out"}, {"device", NameOf(output)}});
    DropName(output);
}

void ConsoleSplitter::AttachError(TextOutput& output, const std::string& device) {
    AddName(output, device);
    platform_.trace.Record("console", {{"op", "attach"}, {"for", "error"}, {"device", device}});
    error_.Attach(output);
    if (error_.Outputs().size() == 1) {
        NameStdErr();
    }
}

void ConsoleSplitter::DetachError(TextOutput& output) {
    error_.Detach(output);
    platform_.trace.Record("console",
                           {{"op", "detach"}, {"for", "error"}, {"device", NameOf(output)}});
    DropName(output);
}

std::vector<ConsoleSplitter::Output> ConsoleSplitter::Outputs() const {
    std::vector<Output> outputs;
    if (builtIn_) {
        outputs.push_back({kBuiltInName, platform_.screen.get()});
    }
    for (const auto& [output, device] : outputs_) {
        outputs.push_back({device, output});
    }
    return outputs;
}

void ConsoleSplitter::AddName(TextOutput& output, const std::string& device) {
    if (NameOf(output).empty()) {
        outputs_.emplace_back(&output, device);
    }
}

// An output that is attached nowhere any more is seen by nobody.
void ConsoleSplitter::DropName(TextOutput& output) {
    const auto in = [&](const Screen& screen) {
        const auto& outputs = screen.Outputs();
        return std::find(outputs.begin(), outputs.end(), &output) != outputs.end();
    };
    if (!in(*platform_.screen) && !in(error_)) {
        std::erase_if(outputs_, [&](const auto& entry) { return entry.first == &output; });
    }
}

std::string ConsoleSplitter::NameOf(const TextOutput& output) const {
    const auto found = std::find_if(outputs_.begin(), outputs_.end(),
                                    [&](const auto& entry) { return entry.first == &output; });
    return found == outputs_.end() ? std::string() : found->second;
}

// ---- The system table

void ConsoleSplitter::NameConIn() {
    EFI_SYSTEM_TABLE& table = *platform_.SystemTable();
    table.ConsoleInHandle = inputHandle_;
    table.ConIn = platform_.keyboard->Protocol();
    platform_.core->SystemTableChanged();
}

void ConsoleSplitter::NameConOut() {
    EFI_SYSTEM_TABLE& table = *platform_.SystemTable();
    table.ConsoleOutHandle = outputHandle_;
    table.ConOut = platform_.screen->Protocol();
    platform_.core->SystemTableChanged();
}

void ConsoleSplitter::NameStdErr() {
    EFI_SYSTEM_TABLE& table = *platform_.SystemTable();
    table.StandardErrorHandle = errorHandle_;
    table.StdErr = error_.Protocol();
    platform_.core->SystemTableChanged();
}

} // namespace sim
