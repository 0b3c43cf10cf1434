// The devices of the machine and their drivers: reads "devices" and "drivers" of the machine file,
// builds the tree, installs what is there without a driver (root bridges), and pulls devices.
//
// Natural behaviour:
// - A device of the machine file hangs from the device whose path is the longest beginning of its
//   own. Nodes in between that no device describes become implied devices: a PciRoot node a root
//   bridge, a Pci node a function whose class code follows from what hangs from it, a USB node a
//   hub. A path that does not begin with a PciRoot node (a firmware volume, a memory-mapped device)
//   is a root; its handle is there from power-on.
// - "connect": {"status", "times"} makes the start of the driver of this device fail: always, or
//   the first "times" times.
// - "driver" names an entry of "drivers": until the dispatch with that number has loaded it, no
//   driver wants the device.
// - "vanishAt" pulls the device at that virtual time (milliseconds): its drivers are stopped, its
//   handle and those below it go.
#pragma once

#include "sim/devices/Device.h"
#include "sim/devices/DeviceDriver.h"
#include "sim/siblings/Sibling.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

class Devices final : public Sibling {
public:
    // Reads "devices" and "drivers", and constructs all drivers. Throws MachineFileError.
    explicit Devices(Platform& owner);
    ~Devices() override;
    void Install() override;

    // ---- The tree

    const std::vector<std::unique_ptr<Device>>& All() const { return all_; }
    // By name of the machine file; nullptr when there is none.
    Device* Find(std::string_view id) const;
    // The device that has this handle now; nullptr when none.
    Device* At(EFI_HANDLE handle) const;
    // A device below `parent` (nullptr: a root) that differs from it by `node`. Drivers call it for
    // what they find behind a device; the same node twice gives the same device. `place` is the
    // JSON pointer of the section that describes it, if any.
    Device& Add(Device* parent, std::span<const std::uint8_t> node, std::string kind,
                std::string place = {});

    // ---- Presence

    // Makes a handle with the device path for a device, as a child of `agent` on the handle of
    // its parent (of `protocol`) when an agent is given. Does nothing when it is present or gone.
    EFI_STATUS Appear(Device& device, EFI_HANDLE agent = nullptr,
                      const EFI_GUID* protocol = nullptr);
    // Withdraws all interfaces and with them the handle. False when a driver does not let go.
    bool Disappear(Device& device);
    // Pulls a device: drivers stopped, handles gone (its own and all below), for the whole boot.
    void Pull(Device& device);

    // ---- Drivers

    // PI Dispatch(): loads the drivers of "drivers" whose turn has come. True when there was one.
    bool Dispatch();
    // Whether the driver that the device asks for ("driver") has been loaded, or it asks for none.
    bool IsDriverLoaded(const Device& device) const;
    // "connect": the status with which this start of the device's driver fails; EFI_SUCCESS
    // otherwise. Counts.
    EFI_STATUS StartStatus(const Device& device);

    // A driver by its name ("PciBus"); nullptr when there is none.
    DeviceDriver* Driver(std::string_view name) const;

private:
    struct LateDriver {
        unsigned dispatch = 1; // number of the call of Dispatch() that loads it
        bool loaded = false;
    };
    struct StartFault {
        EFI_STATUS status;
        std::uint64_t left; // failing starts still to come
    };

    void ReadDevice(const std::string& id, const std::string& place);
    Device& Imply(std::span<const std::uint8_t> nodes);
    void InferClasses();
    void MakeDrivers();

    std::vector<std::unique_ptr<Device>> all_; // in the order of the machine file, parents first
    std::map<EFI_HANDLE, Device*> present_;
    std::vector<std::unique_ptr<DeviceDriver>> drivers_;
    std::map<std::string, LateDriver, std::less<>> lateDrivers_;
    std::map<const Device*, StartFault> startFaults_;
    unsigned dispatches_ = 0;
};

// Each makes the drivers of one field, in the order in which they are installed (PciDrivers.cpp,
// StorageDrivers.cpp, UsbDrivers.cpp, ...).
using DriverList = std::vector<std::unique_ptr<DeviceDriver>>;
void AddPciDrivers(Devices& devices, DriverList& drivers);       // root bridges, functions, bridges
void AddStorageDrivers(Devices& devices, DriverList& drivers);   // RAID, NVMe, SATA, RAM disks
void AddPartitionDrivers(Devices& devices, DriverList& drivers); // partitions, El Torito, files
void AddUsbDrivers(Devices& devices, DriverList& drivers);     // host controllers, hubs, keyboards,
                                                               // mass storage, serial adapters
void AddSerialDrivers(Devices& devices, DriverList& drivers);  // ISA serial ports, UARTs
void AddNetworkDrivers(Devices& devices, DriverList& drivers); // NIC ports
void AddConsoleDrivers(Devices& devices, DriverList& drivers); // video, terminals, the splitter

} // namespace sim
