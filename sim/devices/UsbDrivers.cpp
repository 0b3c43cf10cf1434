// The USB drivers: host controllers, the bus with its hubs, keyboards and mass storage.
#include "library/pure/DevicePath.h"
#include "sim/devices/BlockDevice.h"
#include "sim/devices/Devices.h"
#include "sim/devices/DriverNames.h"
#include "sim/devices/KeyboardPort.h"
#include "sim/devices/MediaTree.h"
#include "sim/devices/UsbHost.h"
#include "sim/devices/UsbInterface.h"
#include "sim/firmware/DriverModel.h"

namespace sim {

namespace {

bool IsShortForm(const EFI_DEVICE_PATH_PROTOCOL* path) {
    return path != nullptr &&
           (kelm::IsNode(path, kDevicePathTypeMessaging, kMessagingSubTypeUsbClass) ||
            kelm::IsNode(path, kDevicePathTypeMessaging, kMessagingSubTypeUsbWwid));
}

// Makes the interfaces of the devices behind host controllers. Parents come before their children.
void DescribeInterfaces(Devices& devices) {
    for (const auto& device : devices.All()) {
        const Device* parent = device->parent;
        if (parent == nullptr || !(IsUsbHost(*parent) || UsbInterface::Of(*parent) != nullptr)) {
            continue;
        }
        // The first of the nodes that its parent has not.
        const auto* first = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(
            device->path.data() + parent->path.size() - kelm::kNodeHeaderSize);
        if (const auto* node = kelm::NodeAs<USB_DEVICE_PATH>(first, kDevicePathTypeMessaging,
                                                             kMessagingSubTypeUsb)) {
            device->Keep<UsbInterface>(*device, *node);
        }
    }
}

class UsbHostDriver final : public DeviceDriver {
public:
    explicit UsbHostDriver(Devices& owner) : DeviceDriver(owner, "UsbHost", gEfiPciIoProtocolGuid) {
        for (const auto& device : devices.All()) {
            if (IsUsbHost(*device)) {
                device->Keep<UsbHost>(*PciFunction::Of(*device));
            }
        }
    }

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return UsbHost::Of(device) != nullptr;
    }
    EFI_STATUS Attach(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        UsbHost::Of(device)->PublishOn(device);
        return EFI_SUCCESS;
    }
    void Detach(Device& device) override {
        static_cast<void>(UsbHost::Of(device)->WithdrawFrom(device));
    }
};

// Brings everything that hangs from a host controller, what is behind hubs too. A short form does
// so as well, and has the drivers of what it fits connected; once the bus is up, a short form that
// fits nothing is no start.
class UsbBusDriver final : public DeviceDriver {
public:
    UsbBusDriver(Devices& owner, std::string driverName, const EFI_GUID& host)
        : DeviceDriver(owner, std::move(driverName), host) {}

private:
    static void AddBelow(const Device& device, std::vector<Device*>& interfaces) {
        for (Device* child : device.children) {
            if (UsbInterface::Of(*child) != nullptr) {
                interfaces.push_back(child);
                AddBelow(*child, interfaces);
            }
        }
    }
    static std::vector<Device*> Below(const Device& device) {
        std::vector<Device*> interfaces;
        AddBelow(device, interfaces);
        return interfaces;
    }
    static std::vector<Device*> Fitting(const Device& device,
                                        const EFI_DEVICE_PATH_PROTOCOL* shortForm) {
        std::vector<Device*> interfaces = Below(device);
        std::erase_if(interfaces, [&](const Device* child) {
            return child->gone || !UsbInterface::Of(*child)->Fits(shortForm);
        });
        return interfaces;
    }

    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return UsbHost::Of(device) != nullptr &&
               (remaining == nullptr || kelm::IsEndNode(remaining) || IsShortForm(remaining) ||
                kelm::IsNode(remaining, kDevicePathTypeMessaging, kMessagingSubTypeUsb));
    }
    std::vector<Device*> Children(Device& device,
                                  const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        const bool none = remaining != nullptr && kelm::IsEndNode(remaining);
        return none ? std::vector<Device*>() : Below(device);
    }
    void Bring(Device& child) override {
        child.Publish(gEfiUsbIoProtocolGuid, UsbInterface::Of(child)->Protocol());
    }
    void Started(Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        if (!IsShortForm(remaining)) {
            return;
        }
        BootLocal<std::vector<Device*>> wanted(Fitting(device, remaining));
        for (Device* child : *wanted) {
            if (child->handle != nullptr) {
                static_cast<void>(platform.drivers->Connect(child->handle, nullptr, nullptr, true));
            }
        }
    }
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        if (IsShortForm(remaining)) {
            return !Fitting(device, remaining).empty();
        }
        const bool none = remaining != nullptr && kelm::IsEndNode(remaining);
        return !none && Drives(device, remaining) && AnyAbsent(Below(device));
    }
};

class UsbKeyboardDriver final : public DeviceDriver {
public:
    explicit UsbKeyboardDriver(Devices& owner)
        : DeviceDriver(owner, "UsbKeyboard", gEfiUsbIoProtocolGuid) {
        for (const auto& device : devices.All()) {
            if (device->kind == "usb-keyboard" && UsbInterface::Of(*device) != nullptr) {
                device->Keep<KeyboardPort>(platform);
            }
        }
    }

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return device.kind == "usb-keyboard";
    }
    EFI_STATUS Attach(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        device.Find<KeyboardPort>()->PublishOn(device);
        return EFI_SUCCESS;
    }
    void Detach(Device& device) override {
        static_cast<void>(device.Find<KeyboardPort>()->WithdrawFrom(device));
    }
};

class UsbStorageDriver final : public DeviceDriver {
public:
    explicit UsbStorageDriver(Devices& owner)
        : DeviceDriver(owner, "UsbStorage", gEfiUsbIoProtocolGuid), names_(*this) {}
    void PowerOn() override { names_.Install(); }

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return CarriesMedia(device.kind);
    }
    EFI_STATUS Attach(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        PublishBlockDevice(device, DiskInfoBus::Usb);
        return EFI_SUCCESS;
    }
    void Detach(Device& device) override { static_cast<void>(WithdrawBlockDevice(device)); }

    DriverNames names_;
};

} // namespace

void AddUsbDrivers(Devices& devices, DriverList& drivers) {
    DescribeInterfaces(devices);
    drivers.push_back(std::make_unique<UsbHostDriver>(devices));
    drivers.push_back(std::make_unique<UsbBusDriver>(devices, "UsbBus", gEfiUsb2HcProtocolGuid));
    drivers.push_back(
        std::make_unique<UsbBusDriver>(devices, "UsbBusOlder", gEfiUsbHcProtocolGuid));
    drivers.push_back(std::make_unique<UsbKeyboardDriver>(devices));
    drivers.push_back(std::make_unique<UsbStorageDriver>(devices));
}

} // namespace sim
