// The drivers of storage controllers: functions of the PCI bus with disks behind them. What hangs
// below a function tells which driver wants it.
#include "sim/devices/BlockDevice.h"
#include "sim/devices/Devices.h"
#include "sim/devices/DriverNames.h"
#include "sim/devices/FirmwareVolumes.h"
#include "sim/devices/MediaTree.h"
#include "uefi/PciIo.h"

namespace sim {

namespace {

bool IsScsi(const Device& child) {
    return child.LastNodeIs(kDevicePathTypeMessaging, kMessagingSubTypeScsi);
}
bool IsSata(const Device& child) {
    return child.LastNodeIs(kDevicePathTypeMessaging, kMessagingSubTypeSata);
}
bool IsAtapi(const Device& child) {
    return child.LastNodeIs(kDevicePathTypeMessaging, kMessagingSubTypeAtapi);
}
bool IsNvme(const Device& child) {
    return child.LastNodeIs(kDevicePathTypeMessaging, kMessagingSubTypeNvmeNamespace);
}

struct Controller {
    const char* driver;
    const char* kind; // driven also without disks; may be empty
    bool (*isDisk)(const Device& child);
    DiskInfoBus bus;
};

constexpr Controller kControllers[] = {
    {"Raid", "raid", &IsScsi, DiskInfoBus::Scsi},
    {"Ahci", "sata-controller", &IsSata, DiskInfoBus::Ahci},
    {"NvmExpress", "", &IsNvme, DiskInfoBus::Nvme},
    {"Ide", "", &IsAtapi, DiskInfoBus::None},
};

class ControllerDriver final : public DeviceDriver {
public:
    ControllerDriver(Devices& owner, const Controller& row)
        : DeviceDriver(owner, row.driver, gEfiPciIoProtocolGuid), row_(row), names_(*this) {}
    void PowerOn() override { names_.Install(); }

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        const bool whole = remaining == nullptr || remaining->Type == kDevicePathTypeEnd;
        return (whole && (device.kind == row_.kind ||
                          !AskedChildren(device, nullptr, row_.isDisk).empty())) ||
               !AskedChildren(device, remaining, row_.isDisk).empty();
    }
    std::vector<Device*> Children(Device& device,
                                  const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        return AskedChildren(device, remaining, row_.isDisk);
    }
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return AnyAbsent(AskedChildren(device, remaining, row_.isDisk));
    }
    void Bring(Device& child) override { PublishBlockDevice(child, row_.bus); }

    const Controller& row_;
    DriverNames names_;
};

} // namespace

void AddStorageDrivers(Devices& devices, DriverList& drivers) {
    DescribeMedia(devices);
    for (const Controller& row : kControllers) {
        drivers.push_back(std::make_unique<ControllerDriver>(devices, row));
    }
    drivers.push_back(std::make_unique<FirmwareVolumes>(devices));
}

} // namespace sim
