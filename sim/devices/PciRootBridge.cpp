#include "sim/devices/PciRootBridge.h"

#include "library/pure/DevicePath.h"
#include "sim/devices/Devices.h"

#include <algorithm>
#include <cstring>
#include <tuple>

namespace sim {

namespace {

constexpr unsigned kBuses = 256;
constexpr unsigned kBusesOfRoot = 0x20; // when there are enough

const PCI_DEVICE_PATH* PciNode(const Device& device) {
    return kelm::NodeAs<PCI_DEVICE_PATH>(device.LastNode(), kDevicePathTypeHardware,
                                         kHardwareSubTypePci);
}

// The functions right below a root bridge or a function, by device and function number.
std::vector<Device*> FunctionsBelow(const Device& above) {
    std::vector<Device*> functions;
    for (Device* child : above.children) {
        const bool oneNode = child->path.size() == above.path.size() + child->lastNode.size();
        if (oneNode && PciNode(*child) != nullptr) {
            functions.push_back(child);
        }
    }
    std::stable_sort(functions.begin(), functions.end(), [](const Device* a, const Device* b) {
        const auto* first = PciNode(*a);
        const auto* second = PciNode(*b);
        return std::tuple(first->Device, first->Function) <
               std::tuple(second->Device, second->Function);
    });
    return functions;
}

UINT32 UidOf(const Device& rootBridge) {
    return reinterpret_cast<const ACPI_HID_DEVICE_PATH*>(rootBridge.LastNode())->UID;
}

std::vector<Device*> RootBridgeDevices(const Devices& devices) {
    std::vector<Device*> bridges;
    for (const auto& device : devices.All()) {
        if (device->kind == "root-bridge") {
            bridges.push_back(device.get());
        }
    }
    std::stable_sort(bridges.begin(), bridges.end(),
                     [](const Device* a, const Device* b) { return UidOf(*a) < UidOf(*b); });
    return bridges;
}

template <LiteralText kMember, class... Arguments>
EFI_STATUS EFIAPI Unsupported(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* self, Arguments...) {
    const Device& device =
        Interface<EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL, PciRootBridge>::From(self).device;
    if (auto fault = device.Enter("PciRootBridgeIo", kMember.value, self)) {
        return *fault;
    }
    return EFI_UNSUPPORTED;
}

template <LiteralText kMember, class... Arguments>
void FillUnsupported(EFI_STATUS(EFIAPI*& slot)(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL*, Arguments...)) {
    slot = &Unsupported<kMember, Arguments...>;
}

} // namespace

void EnumeratePci(Devices& devices) {
    const auto bridges = RootBridgeDevices(devices);
    if (bridges.empty()) {
        return;
    }
    if (bridges.size() > kBuses) {
        throw MachineFileError(devices.platform.machine.file, "/devices",
                               "has more root bridges than there are PCI buses");
    }
    const unsigned share = std::min(kBusesOfRoot, kBuses / unsigned(bridges.size()));
    unsigned first = 0;
    for (Device* bridge : bridges) {
        bridge->Keep<PciRootBridge>(*bridge, UINT8(first), UINT8(first + share - 1));
        first += share;
    }
}

std::vector<PciRootBridge*> RootBridges(const Devices& devices) {
    std::vector<PciRootBridge*> bridges;
    for (const Device* device : RootBridgeDevices(devices)) {
        bridges.push_back(PciRootBridge::Of(*device));
    }
    return bridges;
}

PciRootBridge::PciRootBridge(Device& owner, UINT8 firstBus, UINT8 lastBus) : device(owner) {
    Enumerate(device, firstBus, lastBus);
    FillTable(firstBus, lastBus);
}

// Numbers the functions on a bus and behind its bridges. Returns the highest bus that is used.
UINT8 PciRootBridge::Enumerate(Device& above, UINT8 bus, UINT8 lastBus) {
    UINT8 highest = bus;
    const auto functions = FunctionsBelow(above);
    for (Device* child : functions) {
        const PCI_DEVICE_PATH* node = PciNode(*child);
        auto& function =
            child->Keep<PciFunction>(*child, PciAddress{bus, node->Device, node->Function});
        functions_.push_back(&function);
        const auto ofDevice =
            std::count_if(functions.begin(), functions.end(), [&](const Device* other) {
                return PciNode(*other)->Device == node->Device;
            });
        if (ofDevice > 1) {
            function.MakeMultiFunction();
        }
        if (!FunctionsBelow(*child).empty()) {
            if (highest == lastBus) {
                throw MachineFileError(child->devices.platform.machine.file, "/devices",
                                       "there are not enough PCI buses for " + child->Name());
            }
            const UINT8 secondary = UINT8(highest + 1);
            highest = Enumerate(*child, secondary, lastBus);
            function.MakeBridge(secondary, highest);
        }
    }
    return highest;
}

PciFunction* PciRootBridge::At(const PciAddress& address) const {
    const auto found =
        std::find_if(functions_.begin(), functions_.end(),
                     [&](const PciFunction* function) { return function->address == address; });
    return found != functions_.end() ? *found : nullptr;
}

// ---- The protocol

void PciRootBridge::FillTable(UINT8 firstBus, UINT8 lastBus) {
    // An ACPI address space descriptor for the bus numbers: tag, length, type, flags, granularity,
    // minimum, maximum, translation, length.
    constexpr UINT8 kQwordAddressSpace = 0x8A;
    constexpr UINT8 kBusRange = 2;
    constexpr UINT8 kEndTag = 0x79;
    resources_[0] = kQwordAddressSpace;
    resources_[1] = kBusDescriptorSize - 3;
    resources_[3] = kBusRange;
    resources_[14] = firstBus;
    resources_[22] = lastBus;
    resources_[38] = UINT8(lastBus - firstBus + 1);
    resources_[kBusDescriptorSize] = kEndTag;

    table_.owner = this;
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL& table = table_.protocol;
    table.Pci = {&PciRead, &PciWrite};
    table.Configuration = &Configuration;
    table.SegmentNumber = 0;
    FillUnsupported<"PollMem">(table.PollMem);
    FillUnsupported<"PollIo">(table.PollIo);
    FillUnsupported<"MemRead">(table.Mem.Read);
    FillUnsupported<"MemWrite">(table.Mem.Write);
    FillUnsupported<"IoRead">(table.Io.Read);
    FillUnsupported<"IoWrite">(table.Io.Write);
    FillUnsupported<"CopyMem">(table.CopyMem);
    FillUnsupported<"Map">(table.Map);
    FillUnsupported<"Unmap">(table.Unmap);
    FillUnsupported<"AllocateBuffer">(table.AllocateBuffer);
    FillUnsupported<"FreeBuffer">(table.FreeBuffer);
    FillUnsupported<"Flush">(table.Flush);
    FillUnsupported<"GetAttributes">(table.GetAttributes);
    FillUnsupported<"SetAttributes">(table.SetAttributes);
}

namespace {

// A configuration address: the register within a function, its upper part behind the lower one's.
struct ConfigAddress {
    PciAddress function;
    UINT64 offset;
};

ConfigAddress Split(UINT64 address) {
    const UINT64 extended = address >> 32;
    return {{UINT8(address >> 24), UINT8(address >> 16), UINT8(address >> 8)},
            extended != 0 ? extended : address & 0xFF};
}

} // namespace

EFI_STATUS EFIAPI PciRootBridge::PciRead(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* self,
                                         EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH width,
                                         UINT64 address, UINTN count, void* buffer) {
    const PciRootBridge& bridge = Table::From(self);
    if (auto fault = bridge.device.Enter("PciRootBridgeIo", "PciRead", self)) {
        return *fault;
    }
    const ConfigAddress where = Split(address);
    const PciFunction* function = bridge.At(where.function);
    if (function != nullptr && !function->device.gone) {
        return function->ReadConfig(width, where.offset, count, buffer);
    }
    // Nobody answers: all ones.
    const EFI_STATUS status = PciFunction::CheckAccess(width, where.offset, count, buffer);
    if (!EFI_ERROR(status)) {
        std::memset(buffer, 0xFF, PciFunction::BufferSize(width, count));
    }
    return status;
}

EFI_STATUS EFIAPI PciRootBridge::PciWrite(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* self,
                                          EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH width,
                                          UINT64 address, UINTN count, void* buffer) {
    const PciRootBridge& bridge = Table::From(self);
    if (auto fault = bridge.device.Enter("PciRootBridgeIo", "PciWrite", self)) {
        return *fault;
    }
    const ConfigAddress where = Split(address);
    PciFunction* function = bridge.At(where.function);
    if (function == nullptr || function->device.gone) {
        return PciFunction::CheckAccess(width, where.offset, count, buffer); // nobody takes it
    }
    return function->WriteConfig(width, where.offset, count, buffer);
}

EFI_STATUS EFIAPI PciRootBridge::Configuration(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* self,
                                               void** resources) {
    PciRootBridge& bridge = Table::From(self);
    if (auto fault = bridge.device.Enter("PciRootBridgeIo", "Configuration", self)) {
        return *fault;
    }
    if (resources == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *resources = bridge.resources_.data();
    return EFI_SUCCESS;
}

} // namespace sim
