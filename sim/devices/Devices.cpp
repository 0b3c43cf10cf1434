#include "sim/devices/Devices.h"

#include "sim/devices/PciRootBridge.h"
#include "sim/firmware/DriverModel.h"
#include "sim/firmware/EventService.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/siblings/MachineReader.h"
#include "uefi/PciRootBridgeIo.h"

#include <algorithm>

namespace sim {

namespace {

constexpr UINT64 kTimerUnitsPerMillisecond = 10000;

} // namespace

Devices::Devices(Platform& owner) : Sibling(owner) {
    ReadDrivers();
    BuildTree(ReadEntries());
    EnumeratePci(*this);
    MakeDrivers();
}

Devices::~Devices() = default;

void Devices::ReadDrivers() {
    const auto& machine = platform.machine;
    for (const auto& [id, entry] : machine.At("/drivers").items()) {
        lateDrivers_[id].dispatch =
            NumberAt(machine, PlaceOf("/drivers", id) + "/dispatch", 1, 1000000);
    }
}

void Devices::MakeDrivers() {
    AddPciDrivers(*this, drivers_);
    AddStorageDrivers(*this, drivers_);
    AddPartitionDrivers(*this, drivers_);
    AddUsbDrivers(*this, drivers_);
    AddSerialDrivers(*this, drivers_);
    AddNetworkDrivers(*this, drivers_);
    AddConsoleDrivers(*this, drivers_);
}

// Devices may be added while this runs: loops by index.
void Devices::Install() {
    const BootLocal<std::vector<PciRootBridge*>> bridges(RootBridges(*this));
    for (PciRootBridge* bridge : *bridges) {
        static_cast<void>(Appear(bridge->device));
        bridge->device.Publish(gEfiPciRootBridgeIoProtocolGuid, bridge->Protocol());
    }
    for (std::size_t i = 0; i < all_.size(); i++) {
        // The driver makes the handles of boot devices, the RAM disk service those of RAM disks.
        const std::string& kind = all_[i]->kind;
        if (all_[i]->parent == nullptr && kind != "ram-disk" && kind != "boot-device") {
            static_cast<void>(Appear(*all_[i])); // nothing for the root bridges
        }
    }
    for (auto& driver : drivers_) {
        driver->Install();
    }
    for (auto& driver : drivers_) {
        driver->PowerOn();
    }
    for (std::size_t i = 0; i < all_.size(); i++) {
        if (all_[i]->vanishAt_) {
            ArmVanishing(*all_[i]);
        }
    }
}

// ---- Presence

Device* Devices::At(EFI_HANDLE handle) const {
    // The address of a handle is never used again.
    if (const auto known = byHandle_.find(handle); known != byHandle_.end()) {
        return known->second->handle == handle ? known->second : nullptr;
    }
    const auto found = std::find_if(all_.begin(), all_.end(), [&](const auto& device) {
        return handle != nullptr && device->handle == handle;
    });
    if (found == all_.end()) {
        return nullptr;
    }
    byHandle_[handle] = found->get();
    return found->get();
}

EFI_STATUS Devices::Appear(Device& device, EFI_HANDLE agent, const EFI_GUID* protocol,
                           EFI_HANDLE controller) {
    if (device.handle != nullptr || device.gone) {
        return EFI_SUCCESS;
    }
    HandleDatabase& handles = *platform.handles;
    EFI_STATUS status =
        handles.Install(&device.handle, gEfiDevicePathProtocolGuid, device.path.data());
    if (device.handle != nullptr) {
        byHandle_[device.handle] = &device;
    }
    // A notification may have pulled the device that has just come.
    if (EFI_ERROR(status) || agent == nullptr || device.handle == nullptr) {
        return status;
    }
    if (controller == nullptr && device.parent != nullptr) {
        controller = device.parent->handle;
    }
    void* interface = nullptr;
    status = handles.Open(controller, *protocol, &interface, agent, device.handle,
                          EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER);
    if (EFI_ERROR(status)) {
        static_cast<void>(Disappear(device));
        return status;
    }
    device.link_ = {agent, controller, *protocol};
    return EFI_SUCCESS;
}

bool Devices::StopDrivers(Device& device) {
    if (device.handle == nullptr) {
        return true;
    }
    static_cast<void>(platform.drivers->Disconnect(device.handle, nullptr, nullptr));
    if (device.handle == nullptr) {
        return true;
    }
    BootLocal<std::vector<EFI_HANDLE>> left(platform.drivers->DriversOf(device.handle));
    return left->empty();
}

bool Devices::Disappear(Device& device) {
    if (!StopDrivers(device)) {
        return false;
    }
    if (device.handle == nullptr) {
        return true;
    }
    HandleDatabase& handles = *platform.handles;
    BootLocal<std::vector<Device::Published>> taken;
    const auto putBack = [&] {
        for (auto item = taken->rbegin(); item != taken->rend(); ++item) {
            device.Publish(item->protocol, item->interface);
        }
        return false;
    };
    while (!device.published_.empty()) {
        taken->push_back(device.published_.back());
        if (!device.Withdraw(taken->back().protocol)) {
            taken->pop_back();
            return putBack();
        }
    }
    // The record goes before the handle, of which it speaks.
    const Device::Link link = device.link_;
    if (link.agent != nullptr) {
        static_cast<void>(handles.Close(link.controller, link.protocol, link.agent, device.handle));
    }
    if (handles.Uninstall(device.handle, gEfiDevicePathProtocolGuid, device.path.data()) ==
        EFI_ACCESS_DENIED) {
        void* interface = nullptr;
        if (link.agent != nullptr) {
            static_cast<void>(handles.Open(link.controller, link.protocol, &interface, link.agent,
                                           device.handle, EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER));
        }
        return putBack();
    }
    device.link_ = {};
    device.handle = nullptr;
    return true;
}

void Devices::MarkGone(Device& device) {
    device.gone = true;
    for (Device* child : device.children) {
        MarkGone(*child);
    }
}

// Takes the handles away, from the leaves up.
void Devices::Remove(Device& device) {
    for (std::size_t i = 0; i < device.children.size(); i++) {
        Remove(*device.children[i]);
    }
    if (device.handle == nullptr) {
        return;
    }
    // As a bus driver does that notices it. Who does not let go keeps the handle of a device that
    // answers nothing any more.
    auto* bus = static_cast<EFI_DRIVER_BINDING_PROTOCOL*>(
        platform.handles->Find(device.link_.agent, gEfiDriverBindingProtocolGuid));
    if (bus == nullptr) {
        static_cast<void>(Disappear(device));
        return;
    }
    EFI_HANDLE child = device.handle;
    static_cast<void>(bus->Stop(bus, device.link_.controller, 1, &child));
}

void Devices::Pull(Device& device) {
    if (device.gone) {
        return;
    }
    platform.trace.Record("device", {{"op", "pulled"}, {"id", device.Name()}});
    MarkGone(*device.hardware_);
    Remove(*device.hardware_);
}

void EFIAPI Devices::Vanish(EFI_EVENT event, void* context) {
    Device& device = *static_cast<Vanishing*>(context)->device;
    static_cast<void>(device.devices.platform.events->CloseEvent(event));
    device.devices.Pull(device);
}

// A notification and not a mere moment of the clock: who has raised the task priority is not
// interrupted by it.
void Devices::ArmVanishing(Device& device) {
    vanishing_.push_back(std::make_unique<Vanishing>(Vanishing{&device}));
    Vanishing& vanishing = *vanishing_.back();
    EventService& events = *platform.events;
    static_cast<void>(events.CreateEvent(EVT_TIMER | EVT_NOTIFY_SIGNAL, TPL_CALLBACK, &Vanish,
                                         &vanishing, nullptr, &vanishing.timer));
    static_cast<void>(events.SetTimer(vanishing.timer, TimerRelative,
                                      *device.vanishAt_ * kTimerUnitsPerMillisecond));
}

// ---- Drivers

bool Devices::Dispatch() {
    dispatches_++;
    bool any = false;
    for (auto& [id, driver] : lateDrivers_) {
        if (!driver.loaded && driver.dispatch <= dispatches_) {
            driver.loaded = true;
            any = true;
            platform.trace.Record("device", {{"op", "driver"}, {"id", id}});
        }
    }
    return any;
}

bool Devices::IsDriverLoaded(const Device& device) const {
    const auto found = lateDrivers_.find(device.driver_);
    return found == lateDrivers_.end() || found->second.loaded;
}

EFI_STATUS Devices::StartStatus(Device& device) {
    if (device.failingStarts_ == 0) {
        return EFI_SUCCESS;
    }
    device.failingStarts_--;
    return device.startStatus_;
}

DeviceDriver* Devices::Driver(std::string_view name) const {
    const auto found = std::find_if(drivers_.begin(), drivers_.end(),
                                    [&](const auto& driver) { return driver->name == name; });
    return found != drivers_.end() ? found->get() : nullptr;
}

} // namespace sim
