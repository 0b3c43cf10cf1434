// The drivers of serial ports: the ISA bridge with the ports of the Super I/O chip and the floppy
// drive behind it, and the UARTs of these ports and of USB adapters.
#include "library/pure/DevicePath.h"
#include "sim/devices/BlockDevice.h"
#include "sim/devices/Devices.h"
#include "sim/devices/MediaTree.h"
#include "sim/devices/PciFunction.h"
#include "sim/devices/SerialPort.h"
#include "sim/devices/UnsupportedMember.h"
#include "sim/devices/UsbInterface.h"
#include "uefi/SuperIo.h"

#include <algorithm>

namespace sim {

namespace {

constexpr UINT8 kBridgeToIsa = 0x01; // subclass

constexpr UART_DEVICE_PATH kDefaultUart = {
    {kDevicePathTypeMessaging, kMessagingSubTypeUart, {sizeof(UART_DEVICE_PATH), 0}},
    0,
    115200,
    8,
    NoParity,
    OneStopBit};

// A logical device of the Super I/O chip. Its registers are programmed through I/O ports; none of
// the members is used.
class SuperIoDevice final : public DeviceObject {
public:
    explicit SuperIoDevice(const Device& owner) : device(owner) {
        table_.owner = this;
        EFI_SIO_PROTOCOL& table = table_.protocol;
        FillUnsupported<SuperIoDevice, "SuperIo", "RegisterAccess">(table.RegisterAccess);
        FillUnsupported<SuperIoDevice, "SuperIo", "GetResources">(table.GetResources);
        FillUnsupported<SuperIoDevice, "SuperIo", "SetResources">(table.SetResources);
        FillUnsupported<SuperIoDevice, "SuperIo", "PossibleResources">(table.PossibleResources);
        FillUnsupported<SuperIoDevice, "SuperIo", "Modify">(table.Modify);
    }
    const Device& device;
    EFI_SIO_PROTOCOL* Protocol() { return &table_.protocol; }

private:
    Interface<EFI_SIO_PROTOCOL, SuperIoDevice> table_;
};

class IsaBusDriver final : public DeviceDriver {
public:
    explicit IsaBusDriver(Devices& owner) : DeviceDriver(owner, "IsaBus", gEfiPciIoProtocolGuid) {
        for (const auto& device : devices.All()) {
            if (device->parent != nullptr && IsBridge(*device->parent) && IsPort(*device)) {
                device->Keep<SuperIoDevice>(*device);
                device->Keep<SerialPort>(*device);
            }
        }
    }

private:
    static bool IsBridge(const Device& device) {
        const PciFunction* function = PciFunction::Of(device);
        return function != nullptr && function->Class().Is(PCI_CLASS_BRIDGE, kBridgeToIsa);
    }
    static bool HasHid(const Device& child, UINT32 hid) {
        const auto* node = kelm::NodeAs<ACPI_HID_DEVICE_PATH>(child.LastNode(), kDevicePathTypeAcpi,
                                                              kAcpiSubTypeAcpi);
        return node != nullptr && node->HID == hid;
    }
    static bool IsPort(const Device& child) { return HasHid(child, kEisaIdSerial); }
    static bool IsLogicalDevice(const Device& child) {
        return IsPort(child) || HasHid(child, kEisaIdFloppy);
    }

    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        const bool end = remaining != nullptr && kelm::IsEndNode(remaining);
        return IsBridge(device) &&
               (end || !AskedChildren(device, remaining, &IsLogicalDevice).empty());
    }
    std::vector<Device*> Children(Device& device,
                                  const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        return AskedChildren(device, remaining, &IsLogicalDevice);
    }
    void Bring(Device& child) override {
        if (IsPort(child)) {
            child.Publish(gEfiSioProtocolGuid, child.Find<SuperIoDevice>()->Protocol());
        } else {
            PublishBlockDevice(child, DiskInfoBus::None);
        }
    }
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return AnyAbsent(AskedChildren(device, remaining, &IsLogicalDevice));
    }
};

// A port and the one UART device behind it, with the node that the path asks for first. As long as
// it is there, no other path reaches the port.
class UartDriver final : public DeviceDriver {
public:
    UartDriver(Devices& owner, std::string driverName, const EFI_GUID& consumed)
        : DeviceDriver(owner, std::move(driverName), consumed) {}

private:
    static bool HasUart(const Device& device) {
        return std::any_of(device.children.begin(), device.children.end(), [](const Device* child) {
            return child->kind == "uart" && child->handle != nullptr;
        });
    }
    // The UART node, and with it the flow control that a path asks for behind it.
    static std::span<const std::uint8_t> NodesOf(const EFI_DEVICE_PATH_PROTOCOL* remaining) {
        const auto uart = kelm::NodeBytes(remaining);
        const auto* next = kelm::NextNode(remaining);
        const auto* flow = kelm::NodeAs<UART_FLOW_CONTROL_DEVICE_PATH>(
            next, kDevicePathTypeMessaging, kMessagingSubTypeVendor);
        const bool both = flow != nullptr && EFI_GUID(flow->Guid) == gEfiUartDevicePathGuid;
        return {uart.data(), uart.size() + (both ? kelm::NodeLength(next) : 0)};
    }

    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return device.Find<SerialPort>() != nullptr &&
               (remaining == nullptr || kelm::IsEndNode(remaining) ||
                UartNodeOf(remaining) != nullptr);
    }
    std::vector<Device*> Children(Device& device,
                                  const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        if (HasUart(device) || (remaining != nullptr && kelm::IsEndNode(remaining))) {
            return {};
        }
        return {&devices.Add(&device,
                             remaining != nullptr ? NodesOf(remaining)
                                                  : kelm::NodeBytes(&kDefaultUart.Header),
                             "uart")};
    }
    void Bring(Device& child) override {
        const Device& port = *child.parent;
        const auto* first = reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(
            child.path.data() + port.path.size() - kelm::kNodeHeaderSize);
        port.Find<SerialPort>()->PublishOn(child, *UartNodeOf(first));
    }
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        const bool end = remaining != nullptr && kelm::IsEndNode(remaining);
        return !end && Drives(device, remaining) && !HasUart(device);
    }
};

} // namespace

void AddSerialDrivers(Devices& devices, DriverList& drivers) {
    for (const auto& device : devices.All()) {
        if (device->kind == "usb-serial" && UsbInterface::Of(*device) != nullptr) {
            device->Keep<SerialPort>(*device);
        }
    }
    drivers.push_back(std::make_unique<IsaBusDriver>(devices));
    drivers.push_back(std::make_unique<UartDriver>(devices, "Serial", gEfiSioProtocolGuid));
    drivers.push_back(std::make_unique<UartDriver>(devices, "UsbSerial", gEfiUsbIoProtocolGuid));
}

} // namespace sim
