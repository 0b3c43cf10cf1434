// The drivers of consoles: video outputs, text on them, terminals behind serial ports, and those
// that attach what the console variables list to the consoles of the system table.
#include "kelm/Variables.h"
#include "library/pure/DevicePath.h"
#include "sim/devices/ConsoleVariables.h"
#include "sim/devices/Devices.h"
#include "sim/devices/KeyboardPort.h"
#include "sim/devices/MediaTree.h"
#include "sim/devices/PciFunction.h"
#include "sim/devices/Terminal.h"
#include "sim/devices/VideoOutput.h"
#include "sim/firmware/ConsoleSplitter.h"
#include "sim/firmware/VariableService.h"
#include "sim/siblings/MachineReader.h"
#include "uefi/ConsoleDevices.h"
#include "uefi/GlobalVariable.h"
#include "uefi/SimpleTextInput.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

// ---- Video

constexpr ACPI_ADR_DEVICE_PATH kImpliedOutput = {
    {kDevicePathTypeAcpi, kAcpiSubTypeAdr, {sizeof(ACPI_ADR_DEVICE_PATH), 0}},
    0x80010100}; // the first monitor

// A VGA function and its outputs: the devices of the machine file below it, or one that is implied.
class VideoDriver final : public DeviceDriver {
public:
    explicit VideoDriver(Devices& owner) : DeviceDriver(owner, "Video", gEfiPciIoProtocolGuid) {
        // Outputs are added meanwhile: by index.
        for (std::size_t i = 0; i < devices.All().size(); i++) {
            Device& function = *devices.All()[i];
            if (!IsVga(function)) {
                continue;
            }
            if (AskedChildren(function, nullptr, &IsOutput).empty()) {
                devices.Add(&function, kelm::NodeBytes(&kImpliedOutput.Header), "video",
                            function.place);
            }
            for (Device* output : AskedChildren(function, nullptr, &IsOutput)) {
                output->Keep<VideoOutput>(*output);
            }
        }
    }

private:
    static bool IsVga(const Device& device) {
        const PciFunction* function = PciFunction::Of(device);
        return function != nullptr &&
               function->Class().Is(PCI_CLASS_DISPLAY, PCI_CLASS_DISPLAY_VGA) &&
               function->Class().interface == 0;
    }
    static bool IsOutput(const Device& device) {
        return device.LastNodeIs(kDevicePathTypeAcpi, kAcpiSubTypeAdr);
    }

    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return IsVga(device) && !AskedChildren(device, remaining, &IsOutput).empty();
    }
    std::vector<Device*> Children(Device& device,
                                  const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        return AskedChildren(device, remaining, &IsOutput);
    }
    void Bring(Device& child) override { child.Find<VideoOutput>()->Publish(); }
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return AnyAbsent(AskedChildren(device, remaining, &IsOutput));
    }
};

// ---- Text on a video output

class VideoText final : public TextDevice {
public:
    VideoText(Device& owner, const ConsoleModes& modes)
        : TextDevice(owner, owner.devices.platform, "GraphicsConsole", modes.modes, modes.first) {}

    // Blank again, in mode 0, with the colours of power-on.
    void Restart() {
        static_cast<void>(TextDevice::Reset(false));
        record_.CursorVisible = TRUE;
    }
};

class GraphicsConsoleDriver final : public DeviceDriver {
public:
    explicit GraphicsConsoleDriver(Devices& owner)
        : DeviceDriver(owner, "GraphicsConsole", gEfiGraphicsOutputProtocolGuid) {
        const ConsoleModes modes = ReadConsoleModes(platform.machine);
        for (const auto& device : devices.All()) {
            if (device->Find<VideoOutput>() != nullptr) {
                device->Keep<VideoText>(*device, modes);
            }
        }
    }

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return device.Find<VideoText>() != nullptr;
    }
    EFI_STATUS Attach(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        auto& text = *device.Find<VideoText>();
        text.Restart();
        device.Publish(gEfiSimpleTextOutProtocolGuid, text.Protocol());
        return EFI_SUCCESS;
    }
    void Detach(Device& device) override {
        static_cast<void>(device.Withdraw(gEfiSimpleTextOutProtocolGuid));
    }
};

// ---- Terminals

// A serial port and the one terminal behind it, of the kind that the path asks for first.
class TerminalDriver final : public DeviceDriver {
public:
    explicit TerminalDriver(Devices& owner)
        : DeviceDriver(owner, "Terminal", gEfiSerialIoProtocolGuid) {
        for (const auto& device : devices.All()) {
            if (!device->place.empty() &&
                FlagAt(platform.machine, device->place + "/serial/terminal", false)) {
                occupied_.push_back(device.get());
            }
        }
    }

private:
    bool Drives(const Device&, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return remaining == nullptr || TerminalKindOf(remaining);
    }
    std::vector<Device*> Children(Device& device,
                                  const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        const auto node = remaining != nullptr ? kelm::NodeBytes(remaining) : DefaultTerminalNode();
        Device& child = devices.Add(&device, node, "terminal");
        if (child.Find<Terminal>() == nullptr) {
            child.Keep<Terminal>(child, *TerminalKindOf(child.LastNode()));
            child.Keep<KeyboardPort>(platform);
        }
        return {&child};
    }
    void Bring(Device& child) override {
        auto& terminal = *child.Find<Terminal>();
        terminal.Connect(static_cast<EFI_SERIAL_IO_PROTOCOL*>(
            platform.handles->Find(child.parent->handle, gEfiSerialIoProtocolGuid)));
        child.Find<KeyboardPort>()->PublishOn(child);
        child.Publish(gEfiSimpleTextOutProtocolGuid, terminal.Protocol());
    }
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return std::none_of(device.children.begin(), device.children.end(),
                            [](const Device* child) { return child->handle != nullptr; });
    }
    void Started(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        const Device* port = &device;
        while (port != nullptr &&
               std::find(occupied_.begin(), occupied_.end(), port) == occupied_.end()) {
            port = port->parent;
        }
        if (port != nullptr) {
            const UINT8 detected = 1;
            static_cast<void>(platform.variables->Write(
                kVariableTerminalDetect.name, *kVariableTerminalDetect.guid,
                kVariableTerminalDetect.attributes, &detected, sizeof detected));
        }
    }

    std::vector<const Device*> occupied_; // ports with a terminal attached
};

// ---- Consoles of the system table

// Marks the text outputs that ConOut and ErrOut list when they are connected, and attaches them.
class ConsoleOutDriver final : public DeviceDriver {
public:
    explicit ConsoleOutDriver(Devices& owner)
        : DeviceDriver(owner, "ConsoleOut", gEfiSimpleTextOutProtocolGuid) {}

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return device.Find<TextDevice>() != nullptr &&
               (IsListedConsole(device, kConOutName) || IsListedConsole(device, kErrOutName));
    }
    EFI_STATUS Attach(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        TextDevice& text = *device.Find<TextDevice>();
        if (IsListedConsole(device, kConOutName)) {
            device.Publish(gEfiConsoleOutDeviceGuid, nullptr);
            platform.splitter->AttachOutput(text, text.name);
        }
        if (IsListedConsole(device, kErrOutName)) {
            device.Publish(gEfiStandardErrorDeviceGuid, nullptr);
            platform.splitter->AttachError(text, text.name);
        }
        return EFI_SUCCESS;
    }
    void Detach(Device& device) override {
        TextDevice& text = *device.Find<TextDevice>();
        if (device.Publishes(gEfiConsoleOutDeviceGuid)) {
            platform.splitter->DetachOutput(text);
            static_cast<void>(device.Withdraw(gEfiConsoleOutDeviceGuid));
        }
        if (device.Publishes(gEfiStandardErrorDeviceGuid)) {
            platform.splitter->DetachError(text);
            static_cast<void>(device.Withdraw(gEfiStandardErrorDeviceGuid));
        }
    }
};

// The same for ConIn.
class ConsoleInDriver final : public DeviceDriver {
public:
    explicit ConsoleInDriver(Devices& owner)
        : DeviceDriver(owner, "ConsoleIn", gEfiSimpleTextInProtocolGuid) {}

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return IsListedConsole(device, kConInName);
    }
    EFI_STATUS Attach(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        device.Publish(gEfiConsoleInDeviceGuid, nullptr);
        platform.splitter->AttachInput(ConsoleName(device));
        return EFI_SUCCESS;
    }
    void Detach(Device& device) override {
        platform.splitter->DetachInput(ConsoleName(device));
        static_cast<void>(device.Withdraw(gEfiConsoleInDeviceGuid));
    }
};

} // namespace

void AddConsoleDrivers(Devices& devices, DriverList& drivers) {
    drivers.push_back(std::make_unique<VideoDriver>(devices));
    drivers.push_back(std::make_unique<GraphicsConsoleDriver>(devices));
    drivers.push_back(std::make_unique<TerminalDriver>(devices));
    drivers.push_back(std::make_unique<ConsoleOutDriver>(devices));
    drivers.push_back(std::make_unique<ConsoleInDriver>(devices));
}

} // namespace sim
