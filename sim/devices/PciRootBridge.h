// A PCI root bridge: the functions below it by their bus numbers, and the root bridge I/O protocol
// of its handle (UEFI 2.10, section 14.2), of which configuration space and Configuration() work.
#pragma once

#include "sim/devices/PciFunction.h"
#include "uefi/PciRootBridgeIo.h"

#include <array>
#include <vector>

namespace sim {

class Devices;

class PciRootBridge final : public DeviceObject {
public:
    // Gives the functions below the root bridge their numbers, from `firstBus` to `lastBus`. Throws
    // MachineFileError when these are too few.
    PciRootBridge(Device& owner, UINT8 firstBus, UINT8 lastBus);

    static PciRootBridge* Of(const Device& owner) { return owner.Find<PciRootBridge>(); }

    Device& device;
    // In the order of enumeration: by device and function number, what is behind a bridge after it.
    const std::vector<PciFunction*>& Functions() const { return functions_; }
    // nullptr when there is none.
    PciFunction* At(const PciAddress& address) const;

    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* Protocol() { return &table_.protocol; }

private:
    using Table = Interface<EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL, PciRootBridge>;
    static constexpr std::size_t kBusDescriptorSize = 46;

    UINT8 Enumerate(Device& above, UINT8 bus, UINT8 lastBus);
    void FillTable(UINT8 firstBus, UINT8 lastBus);
    static EFI_STATUS EFIAPI PciRead(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* self,
                                     EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH width, UINT64 address,
                                     UINTN count, void* buffer);
    static EFI_STATUS EFIAPI PciWrite(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* self,
                                      EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH width, UINT64 address,
                                      UINTN count, void* buffer);
    static EFI_STATUS EFIAPI Configuration(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* self, void** resources);

    std::vector<PciFunction*> functions_;
    std::array<UINT8, kBusDescriptorSize + 2> resources_{}; // the bus range and the end tag
    Table table_;
};

// Makes the objects of all root bridges and functions of the tree. The root bridges share the bus
// numbers evenly, in their order. Throws MachineFileError.
void EnumeratePci(Devices& devices);
// By rising UID.
std::vector<PciRootBridge*> RootBridges(const Devices& devices);

} // namespace sim
