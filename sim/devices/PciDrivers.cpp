// The PCI bus driver: one start on a root bridge brings all functions below it, behind bridges too.
#include "sim/devices/Devices.h"
#include "sim/devices/PciRootBridge.h"

#include <algorithm>

namespace sim {

namespace {

class PciBusDriver final : public DeviceDriver {
public:
    explicit PciBusDriver(Devices& owner)
        : DeviceDriver(owner, "PciBus", gEfiPciRootBridgeIoProtocolGuid) {}

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return PciRootBridge::Of(device) != nullptr;
    }
    std::vector<Device*> Children(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        std::vector<Device*> functions;
        for (PciFunction* function : PciRootBridge::Of(device)->Functions()) {
            functions.push_back(&function->device);
        }
        return functions;
    }
    void Bring(Device& child) override {
        child.Publish(gEfiPciIoProtocolGuid, PciFunction::Of(child)->Protocol());
    }
    // Functions that were disconnected one by one come back.
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        const auto& functions = PciRootBridge::Of(device)->Functions();
        return std::any_of(functions.begin(), functions.end(), [](const PciFunction* function) {
            return function->device.handle == nullptr && !function->device.gone;
        });
    }
};

} // namespace

void AddPciDrivers(Devices& devices, DriverList& drivers) {
    drivers.push_back(std::make_unique<PciBusDriver>(devices));
}

} // namespace sim
