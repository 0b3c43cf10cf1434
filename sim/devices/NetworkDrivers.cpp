// The drivers of network adapters: Ethernet functions with their ports, and network boot through a
// port by either internet protocol.
#include "library/pure/DevicePath.h"
#include "sim/devices/Devices.h"
#include "sim/devices/MediaTree.h"
#include "sim/devices/NetworkPort.h"
#include "sim/devices/PciFunction.h"
#include "sim/firmware/Clock.h"
#include "uefi/LoadFile.h"

namespace sim {

namespace {

constexpr UINT16 kUdp = 17;
constexpr std::uint64_t kBootTimeout = 3000000; // microseconds

// Any address, from DHCP: "IPv4(0.0.0.0)".
constexpr IPv4_DEVICE_PATH kAnyIpv4 = {
    {kDevicePathTypeMessaging, kMessagingSubTypeIpv4, {sizeof(IPv4_DEVICE_PATH), 0}},
    {},
    {},
    0,
    0,
    kUdp,
    FALSE,
    {},
    {}};
constexpr IPv6_DEVICE_PATH kAnyIpv6 = {
    {kDevicePathTypeMessaging, kMessagingSubTypeIpv6, {sizeof(IPv6_DEVICE_PATH), 0}},
    {},
    {},
    0,
    0,
    kUdp,
    0,
    0,
    {}};

class NetworkDriver final : public DeviceDriver {
public:
    explicit NetworkDriver(Devices& owner) : DeviceDriver(owner, "Network", gEfiPciIoProtocolGuid) {
        for (const auto& device : devices.All()) {
            const auto* node = kelm::NodeAs<MAC_ADDR_DEVICE_PATH>(
                device->LastNode(), kDevicePathTypeMessaging, kMessagingSubTypeMacAddress);
            if (node != nullptr && device->parent != nullptr && IsEthernet(*device->parent)) {
                device->Keep<NetworkPort>(*device, *node);
            }
        }
    }

    void PowerOn() override {
        for (const auto& device : devices.All()) {
            if (NetworkPort* port = NetworkPort::Of(*device)) {
                port->PowerOn();
            }
        }
    }

private:
    static bool IsEthernet(const Device& device) {
        const PciFunction* function = PciFunction::Of(device);
        return function != nullptr &&
               function->Class().Is(PCI_CLASS_NETWORK, PCI_CLASS_NETWORK_ETHERNET);
    }
    static bool IsPort(const Device& child) { return NetworkPort::Of(child) != nullptr; }

    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        const bool end = remaining != nullptr && kelm::IsEndNode(remaining);
        return !AskedChildren(device, end ? nullptr : remaining, &IsPort).empty();
    }
    std::vector<Device*> Children(Device& device,
                                  const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        return AskedChildren(device, remaining, &IsPort);
    }
    void Bring(Device& child) override { NetworkPort::Of(child)->PublishOn(child); }
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return AnyAbsent(AskedChildren(device, remaining, &IsPort));
    }
};

// Boot from the network: nobody answers.
class NetworkBoot final : public DeviceObject {
public:
    NetworkBoot(const Device& owner, const NetworkPort& through) : device(owner), port_(through) {
        table_.owner = this;
        table_.protocol = {&LoadFile};
    }
    const Device& device;
    EFI_LOAD_FILE_PROTOCOL* Protocol() { return &table_.protocol; }

private:
    using Table = Interface<EFI_LOAD_FILE_PROTOCOL, NetworkBoot>;

    static EFI_STATUS EFIAPI LoadFile(EFI_LOAD_FILE_PROTOCOL* self,
                                      EFI_DEVICE_PATH_PROTOCOL* filePath, BOOLEAN bootPolicy,
                                      UINTN* size, void*) {
        const NetworkBoot& boot = Table::From(self);
        if (auto fault = boot.device.Enter("LoadFile", "LoadFile", self)) {
            return *fault;
        }
        if (filePath == nullptr || size == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        if (bootPolicy == FALSE) {
            return EFI_UNSUPPORTED; // network boot loads no file by its name
        }
        boot.device.devices.platform.clock->Advance(kBootTimeout); // may end the boot
        return boot.port_.HasMedia() ? EFI_NOT_FOUND : EFI_NO_MEDIA;
    }

    const NetworkPort& port_;
    Table table_;
};

class NetworkBootDriver final : public DeviceDriver {
public:
    explicit NetworkBootDriver(Devices& owner)
        : DeviceDriver(owner, "NetworkBoot", gEfiSimpleNetworkProtocolGuid) {
        // Devices are added meanwhile: by index.
        for (std::size_t i = 0; i < devices.All().size(); i++) {
            Device& port = *devices.All()[i];
            if (NetworkPort::Of(port) != nullptr) {
                AddBoot(port, &kAnyIpv4.Header);
                AddBoot(port, &kAnyIpv6.Header);
            }
        }
    }

private:
    static bool IsBoot(const Device& child) { return child.Find<NetworkBoot>() != nullptr; }

    void AddBoot(Device& port, const EFI_DEVICE_PATH_PROTOCOL* node) {
        Device& boot = devices.Add(&port, kelm::NodeBytes(node), "network-boot");
        boot.Keep<NetworkBoot>(boot, *NetworkPort::Of(port));
    }
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        const bool end = remaining != nullptr && kelm::IsEndNode(remaining);
        return !AskedChildren(device, end ? nullptr : remaining, &IsBoot).empty();
    }
    std::vector<Device*> Children(Device& device,
                                  const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        return AskedChildren(device, remaining, &IsBoot);
    }
    void Bring(Device& child) override {
        child.Publish(gEfiLoadFileProtocolGuid, child.Find<NetworkBoot>()->Protocol());
    }
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return AnyAbsent(AskedChildren(device, remaining, &IsBoot));
    }
};

} // namespace

void AddNetworkDrivers(Devices& devices, DriverList& drivers) {
    drivers.push_back(std::make_unique<NetworkDriver>(devices));
    drivers.push_back(std::make_unique<NetworkBootDriver>(devices));
}

} // namespace sim
