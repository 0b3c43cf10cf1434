#include "sim/devices/DeviceDriver.h"

#include "sim/devices/Devices.h"
#include "sim/firmware/DriverModel.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/ImageService.h"
#include "sim/firmware/Platform.h"

#include <algorithm>

namespace sim {

DeviceDriver::DeviceDriver(Devices& owner, std::string driverName, const EFI_GUID& consumed,
                           UINT32 version)
    : devices(owner), platform(owner.platform), name(std::move(driverName)), consumes(consumed) {
    binding_.owner = this;
    binding_.protocol = {&Supported, &Start, &Stop, version, nullptr, nullptr};
}

void DeviceDriver::Install() {
    binding_.protocol.ImageHandle = platform.images->FirmwareHandle();
    static_cast<void>(platform.handles->Install(&binding_.protocol.DriverBindingHandle,
                                                gEfiDriverBindingProtocolGuid, &binding_.protocol));
    handle_ = binding_.protocol.DriverBindingHandle;
}

bool DeviceDriver::IsDriving(EFI_HANDLE controller) const {
    BootLocal<std::vector<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY>> openers;
    static_cast<void>(platform.handles->Openers(controller, consumes, *openers));
    return std::any_of(openers->begin(), openers->end(), [&](const auto& opener) {
        return opener.AgentHandle == handle_ && opener.ControllerHandle == controller &&
               (opener.Attributes & EFI_OPEN_PROTOCOL_BY_DRIVER) != 0;
    });
}

EFI_STATUS EFIAPI DeviceDriver::Supported(EFI_DRIVER_BINDING_PROTOCOL* self, EFI_HANDLE controller,
                                          EFI_DEVICE_PATH_PROTOCOL* remaining) {
    const DeviceDriver& driver = From(self);
    HandleDatabase& handles = *driver.platform.handles;
    if (!handles.Has(controller, driver.consumes)) {
        return EFI_UNSUPPORTED;
    }
    const Device* device = driver.devices.At(controller);
    if (device == nullptr || device->gone || !driver.devices.IsDriverLoaded(*device) ||
        !driver.Drives(*device, remaining)) {
        return EFI_UNSUPPORTED;
    }
    void* interface = nullptr;
    const EFI_STATUS status = handles.Open(controller, driver.consumes, &interface, driver.handle_,
                                           controller, EFI_OPEN_PROTOCOL_BY_DRIVER);
    if (status == EFI_ALREADY_STARTED && driver.Again(*device, remaining)) {
        return EFI_SUCCESS;
    }
    if (!EFI_ERROR(status)) {
        static_cast<void>(handles.Close(controller, driver.consumes, driver.handle_, controller));
    }
    return status;
}

// Makes the handles of the children that are not there yet.
EFI_STATUS DeviceDriver::BringChildren(Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) {
    const EFI_HANDLE controller = device.handle;
    BootLocal<std::vector<Device*>> children(Children(device, remaining));
    for (Device* child : *children) {
        if (child->gone || child->handle != nullptr) {
            continue;
        }
        const EFI_STATUS status = devices.Appear(*child, handle_, &consumes, controller);
        // A notification may have pulled the device or stopped this driver meanwhile.
        if (device.handle != controller || !IsDriving(controller)) {
            return EFI_DEVICE_ERROR;
        }
        if (EFI_ERROR(status)) {
            return status;
        }
        if (child->handle != nullptr) {
            Bring(*child);
        }
    }
    return device.handle == controller ? EFI_SUCCESS : EFI_DEVICE_ERROR;
}

EFI_STATUS EFIAPI DeviceDriver::Start(EFI_DRIVER_BINDING_PROTOCOL* self, EFI_HANDLE controller,
                                      EFI_DEVICE_PATH_PROTOCOL* remaining) {
    DeviceDriver& driver = From(self);
    HandleDatabase& handles = *driver.platform.handles;
    Device* device = driver.devices.At(controller);
    if (device == nullptr || device->gone) {
        return EFI_UNSUPPORTED;
    }
    void* interface = nullptr;
    EFI_STATUS status = handles.Open(controller, driver.consumes, &interface, driver.handle_,
                                     controller, EFI_OPEN_PROTOCOL_BY_DRIVER);
    const bool again = status == EFI_ALREADY_STARTED && driver.Again(*device, remaining);
    if (EFI_ERROR(status) && !again) {
        return status;
    }
    if (!again) {
        status = driver.devices.StartStatus(*device);
        if (!EFI_ERROR(status)) {
            status = driver.Attach(*device, remaining);
        }
        if (EFI_ERROR(status)) {
            static_cast<void>(
                handles.Close(controller, driver.consumes, driver.handle_, controller));
            return status;
        }
    }
    status = driver.BringChildren(*device, remaining);
    if (!EFI_ERROR(status)) {
        driver.Started(*device, remaining);
    } else if (!again && driver.IsDriving(controller)) {
        static_cast<void>(driver.platform.drivers->Disconnect(controller, driver.handle_, nullptr));
    }
    return status;
}

bool DeviceDriver::Release(Device& child) {
    if (child.handle == nullptr) {
        return true;
    }
    if (!devices.StopDrivers(child)) {
        return false;
    }
    Drop(child);
    return devices.Disappear(child);
}

EFI_STATUS EFIAPI DeviceDriver::Stop(EFI_DRIVER_BINDING_PROTOCOL* self, EFI_HANDLE controller,
                                     UINTN count, EFI_HANDLE* children) {
    DeviceDriver& driver = From(self);
    Device* device = driver.devices.At(controller);
    if (device == nullptr || !driver.IsDriving(controller)) {
        return EFI_UNSUPPORTED;
    }
    EFI_STATUS status = EFI_SUCCESS;
    for (UINTN i = 0; i < count; i++) {
        // A child may have gone with the one before it.
        Device* child = driver.devices.At(children[i]);
        if (child != nullptr && !driver.Release(*child)) {
            status = EFI_DEVICE_ERROR;
        }
    }
    if (count != 0) {
        return status;
    }
    {
        BootLocal<std::vector<EFI_HANDLE>> left(
            driver.platform.drivers->ChildrenOf(controller, driver.handle_));
        if (!left->empty()) {
            return EFI_DEVICE_ERROR;
        }
    }
    driver.Detach(*device);
    if (device->handle == controller) {
        static_cast<void>(driver.platform.handles->Close(controller, driver.consumes,
                                                         driver.handle_, controller));
    }
    return EFI_SUCCESS;
}

} // namespace sim
