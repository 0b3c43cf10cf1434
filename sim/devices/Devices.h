// The devices of the machine and their drivers: reads "devices" and "drivers" of the machine file,
// builds the tree, installs what is there without a driver (root bridges), and pulls devices.
//
// Natural behaviour:
// - A device of the machine file hangs from the device whose path is the longest beginning of its
//   own. Nodes in between that no device describes become implied devices: a PciRoot node a root
//   bridge, a Pci node a function whose class code follows from what hangs from it, a USB node with
//   another one behind it a hub; other nodes in between belong to the device itself. A path that
//   does not begin with a PciRoot node (a firmware volume, a memory-mapped device) is a root. The
//   handles of roots are there from power-on, but for RAM disks, which a service makes.
// - "connect": {"status", "times"} makes the start of the driver of this device fail: always, or
//   the first "times" times.
// - "driver" names an entry of "drivers": until the dispatch with that number has loaded it, no
//   driver wants the device.
// - "vanishAt" pulls the device at that virtual time (milliseconds): its drivers are stopped, its
//   handle and those below it go.
// - These three of a NIC port, an NVMe namespace or a video output that stands alone behind an
//   implied function hold for that function, which is what its driver starts on and what is pulled.
#pragma once

#include "sim/devices/Device.h"
#include "sim/devices/DeviceDriver.h"
#include "sim/siblings/Sibling.h"

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
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
    // A device below `parent` (nullptr: a root) that differs from it by `node` (one node or more,
    // without an end). Drivers call it for what they find behind a device; the same node twice
    // gives the same device. `place` is the JSON pointer of the section that describes it, if any.
    Device& Add(Device* parent, std::span<const std::uint8_t> node, std::string kind,
                std::string place = {});

    // ---- Presence

    // Makes a handle with the device path for a device, as a child of `agent` when one is given:
    // `protocol` of `controller` (nullptr: the handle of its parent) is opened for it. Does nothing
    // when it is present or gone.
    EFI_STATUS Appear(Device& device, EFI_HANDLE agent = nullptr,
                      const EFI_GUID* protocol = nullptr, EFI_HANDLE controller = nullptr);
    // Stops the drivers of the device, withdraws all interfaces and with them the handle. False
    // when a driver does not let go; then everything stays.
    bool Disappear(Device& device);
    // Stops the drivers of the device. False when one does not let go.
    bool StopDrivers(Device& device);
    // Pulls a device: drivers stopped, handles gone (its own and all below), for the whole boot.
    // Traces `device`.
    void Pull(Device& device);

    // ---- Drivers

    // PI Dispatch(): loads the drivers of "drivers" whose turn has come. True when there was one.
    bool Dispatch();
    // Whether the driver that the device asks for ("driver") has been loaded, or it asks for none.
    bool IsDriverLoaded(const Device& device) const;
    // "connect": the status with which this start of the device's driver fails; EFI_SUCCESS
    // otherwise. Counts.
    EFI_STATUS StartStatus(Device& device);

    // A driver by its name ("PciBus"); nullptr when there is none.
    DeviceDriver* Driver(std::string_view name) const;

private:
    struct LateDriver {
        std::uint64_t dispatch = 1; // number of the call of Dispatch() that loads it
        bool loaded = false;
    };
    // A device of the machine file.
    struct Entry {
        std::string id;
        std::string place;
        std::vector<std::uint8_t> nodes; // of its path, without the end
    };
    struct Vanishing {
        Device* device;
        EFI_EVENT timer = nullptr;
    };

    // DeviceTree.cpp
    std::vector<Entry> ReadEntries() const;
    void BuildTree(const std::vector<Entry>& entries);
    void Grow(const Entry& entry);
    void ReadKeys(Device& device);
    Device* FindPath(std::span<const std::uint8_t> nodes) const;

    void ReadDrivers();
    void MakeDrivers();
    void ArmVanishing(Device& device);
    static void EFIAPI Vanish(EFI_EVENT event, void* context);
    void MarkGone(Device& device);
    void Remove(Device& device);

    std::vector<std::unique_ptr<Device>> all_; // in the order of the machine file, parents first
    std::vector<std::unique_ptr<DeviceDriver>> drivers_;
    std::map<std::string, LateDriver, std::less<>> lateDrivers_;
    std::vector<std::unique_ptr<Vanishing>> vanishing_;
    std::uint64_t dispatches_ = 0;
    // Ways to find one of many, which are never walked.
    std::map<std::vector<std::uint8_t>, Device*> byPath_;       // by all nodes
    std::map<std::vector<std::uint8_t>, const Entry*> entries_; // while the tree is built
    mutable std::unordered_map<EFI_HANDLE, Device*> byHandle_;  // handles that were asked for
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
