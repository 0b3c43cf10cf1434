#include "sim/devices/PciFunction.h"

#include "library/pure/DevicePath.h"
#include "sim/devices/Devices.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr UINT16 kMadeUpVendor = 0x4B4C;
constexpr UINT64 kVgaAttributes = EFI_PCI_IO_ATTRIBUTE_VGA_PALETTE_IO |
                                  EFI_PCI_IO_ATTRIBUTE_VGA_MEMORY | EFI_PCI_IO_ATTRIBUTE_VGA_IO |
                                  EFI_PCI_IO_ATTRIBUTE_VGA_PALETTE_IO_16 |
                                  EFI_PCI_IO_ATTRIBUTE_VGA_IO_16;
constexpr UINT64 kVgaDecode =
    EFI_PCI_IO_ATTRIBUTE_VGA_MEMORY | EFI_PCI_IO_ATTRIBUTE_VGA_IO | EFI_PCI_IO_ATTRIBUTE_VGA_IO_16;

constexpr PciClass kBridgeClass = {PCI_CLASS_BRIDGE, PCI_CLASS_BRIDGE_P2P, 0};
constexpr PciClass kRaidClass = {PCI_CLASS_MASS_STORAGE, PCI_CLASS_MASS_STORAGE_RAID, 0};
constexpr PciClass kIdeClass = {PCI_CLASS_MASS_STORAGE, PCI_CLASS_MASS_STORAGE_IDE, 0};
constexpr PciClass kSataClass = {PCI_CLASS_MASS_STORAGE, PCI_CLASS_MASS_STORAGE_SATADPA, 1};
constexpr PciClass kSasClass = {PCI_CLASS_MASS_STORAGE, PCI_CLASS_MASS_STORAGE_SAS, 0};
constexpr PciClass kNvmeClass = {PCI_CLASS_MASS_STORAGE, PCI_CLASS_MASS_STORAGE_NVM, 2};
constexpr PciClass kNicClass = {PCI_CLASS_NETWORK, PCI_CLASS_NETWORK_ETHERNET, 0};
constexpr PciClass kVgaClass = {PCI_CLASS_DISPLAY, PCI_CLASS_DISPLAY_VGA, 0};
constexpr PciClass kIsaClass = {PCI_CLASS_BRIDGE, 1, 0};
constexpr PciClass kUsbClass = {PCI_CLASS_SERIAL, PCI_CLASS_SERIAL_USB, PCI_IF_XHCI};
constexpr PciClass kFibreClass = {PCI_CLASS_SERIAL, PCI_CLASS_SERIAL_FIBERCHANNEL, 0};
constexpr PciClass kUartClass = {7, 0, 2};
constexpr PciClass kPeripheralClass = {8, 0x80, 0};

struct NodeClass {
    UINT8 type;
    UINT8 subType;
    PciClass pciClass;
};
constexpr NodeClass kByNode[] = {
    {kDevicePathTypeHardware, kHardwareSubTypePci, kBridgeClass},
    {kDevicePathTypeAcpi, kAcpiSubTypeAdr, kVgaClass},
    {kDevicePathTypeAcpi, kAcpiSubTypeAcpi, kIsaClass},
    {kDevicePathTypeAcpi, kAcpiSubTypeExpanded, kIsaClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeAtapi, kIdeClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeScsi, kRaidClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeSata, kSataClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeSasEx, kSasClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeNvmeNamespace, kNvmeClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeMacAddress, kNicClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeUsb, kUsbClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeFibreChannel, kFibreClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeFibreChannelEx, kFibreClass},
    {kDevicePathTypeMessaging, kMessagingSubTypeUart, kUartClass},
};

struct KindClass {
    std::string_view kind;
    PciClass pciClass;
};
constexpr KindClass kByKind[] = {
    {"pci-bridge", kBridgeClass}, {"raid", kRaidClass},   {"sata-controller", kSataClass},
    {"nvme", kNvmeClass},         {"nic", kNicClass},     {"usb-controller", kUsbClass},
    {"video", kVgaClass},         {"serial", kUartClass}, {"controller", kPeripheralClass},
};

// How a width moves through configuration space and through the buffer.
struct Access {
    std::size_t size = 0;    // bytes; 0 for a width that configuration space does not have
    std::size_t place = 0;   // step in configuration space: none when a FIFO is read
    std::size_t element = 0; // step in the buffer: none when one value fills

    explicit Access(UINT32 width) {
        const UINT32 log = width & 3;
        if (width >= EfiPciIoWidthMaximum || log == EfiPciIoWidthUint64) {
            return;
        }
        const UINT32 form = width & ~3u;
        size = std::size_t{1} << log;
        place = form == EfiPciIoWidthFifoUint8 ? 0 : size;
        element = form == EfiPciIoWidthFillUint8 ? 0 : size;
    }
};

UINT16 PciNumber(const Device& device, const char* key, UINT64 absent) {
    return UINT16(
        NumberAt(device.devices.platform.machine, device.place + "/pci/" + key, absent, 0xFFFF));
}

template <LiteralText kMember, class... Arguments>
EFI_STATUS EFIAPI Unsupported(EFI_PCI_IO_PROTOCOL* self, Arguments...) {
    const Device& device = Interface<EFI_PCI_IO_PROTOCOL, PciFunction>::From(self).device;
    if (auto fault = device.Enter("PciIo", kMember.value, self)) {
        return *fault;
    }
    return EFI_UNSUPPORTED;
}

template <LiteralText kMember, class... Arguments>
void FillUnsupported(EFI_STATUS(EFIAPI*& slot)(EFI_PCI_IO_PROTOCOL*, Arguments...)) {
    slot = &Unsupported<kMember, Arguments...>;
}

} // namespace

PciClass ClassOf(const Device& function) {
    const auto& machine = function.devices.platform.machine;
    const std::string place = function.place + "/pci/class";
    if (!function.place.empty() && !machine.At(place).is_null()) {
        const auto bytes = HexAt(machine, place, 3);
        return {bytes[0], bytes[1], bytes[2]};
    }
    const std::size_t own = function.path.size() - kelm::kNodeHeaderSize;
    for (const Device* child : function.children) {
        for (const NodeClass& row : kByNode) {
            if (child->path[own] == row.type && child->path[own + 1] == row.subType) {
                return row.pciClass;
            }
        }
    }
    for (const KindClass& row : kByKind) {
        if (function.kind == row.kind) {
            return row.pciClass;
        }
    }
    return {};
}

PciFunction::PciFunction(Device& owner, const PciAddress& where)
    : device(owner), address(where), class_(ClassOf(owner)), readStatus_(EFI_SUCCESS) {
    const bool described = !device.place.empty();
    const auto number = [&](const char* key, UINT16 absent) {
        return described ? PciNumber(device, key, absent) : absent;
    };
    if (described) {
        readStatus_ = StatusAt(device.devices.platform.machine, device.place + "/pci/readStatus",
                               EFI_SUCCESS);
    }
    const UINT16 vendor = number("vendor", kMadeUpVendor);
    const UINT16 model = number("device", UINT16(class_.base << 8 | class_.sub));
    Put16(PCI_VENDOR_ID_OFFSET, vendor);
    Put16(PCI_DEVICE_ID_OFFSET, model);
    Put16(PCI_SUBSYSTEM_VENDOR_ID_OFFSET, number("subsystemVendor", vendor));
    Put16(PCI_SUBSYSTEM_ID_OFFSET, number("subsystem", model));
    config_[PCI_REVISION_ID_OFFSET] = 1;
    config_[PCI_CLASSCODE_OFFSET] = class_.interface;
    config_[PCI_CLASSCODE_OFFSET + 1] = class_.sub;
    config_[PCI_CLASSCODE_OFFSET + 2] = class_.base;
    writable_[PCI_COMMAND_OFFSET] = EFI_PCI_COMMAND_IO_SPACE | EFI_PCI_COMMAND_MEMORY_SPACE |
                                    EFI_PCI_COMMAND_BUS_MASTER | 0x40; // parity errors
    writable_[PCI_COMMAND_OFFSET + 1] = 0x05;                          // errors, interrupts
    writable_[0x0C] = 0xFF; // cache line, latency, interrupt line
    writable_[0x0D] = 0xFF;
    writable_[0x3C] = 0xFF;
    FillTable();
}

void PciFunction::MakeBridge(UINT8 secondary, UINT8 subordinate) {
    // A bridge has its subsystem elsewhere, in a capability.
    Put16(PCI_SUBSYSTEM_VENDOR_ID_OFFSET, 0);
    Put16(PCI_SUBSYSTEM_ID_OFFSET, 0);
    config_[PCI_HEADER_TYPE_OFFSET] |= 1;
    config_[PCI_BRIDGE_PRIMARY_BUS_REGISTER_OFFSET] = address.bus;
    config_[PCI_BRIDGE_SECONDARY_BUS_REGISTER_OFFSET] = secondary;
    config_[PCI_BRIDGE_SUBORDINATE_BUS_REGISTER_OFFSET] = subordinate;
    writable_[PCI_BRIDGE_CONTROL_REGISTER_OFFSET] = 0xFF;
    // Enumeration has switched on what its functions need.
    SetAttributes(EFI_PCI_IO_ATTRIBUTE_IO | EFI_PCI_IO_ATTRIBUTE_MEMORY |
                  EFI_PCI_IO_ATTRIBUTE_BUS_MASTER);
}

void PciFunction::MakeMultiFunction() {
    config_[PCI_HEADER_TYPE_OFFSET] |= HEADER_TYPE_MULTI_FUNCTION;
}

void PciFunction::Put16(std::size_t offset, UINT16 value) {
    config_[offset] = UINT8(value);
    config_[offset + 1] = UINT8(value >> 8);
}

UINT16 PciFunction::Get16(std::size_t offset) const {
    return UINT16(config_[offset] | config_[offset + 1] << 8);
}

EFI_STATUS PciFunction::CheckAccess(UINT32 width, UINT64 offset, UINTN count, const void* buffer) {
    const Access access(width);
    if (access.size == 0 || buffer == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const UINTN places = access.place == 0 ? 1 : count;
    const bool fits = offset % access.size == 0 && offset <= kConfigSize &&
                      places <= (kConfigSize - offset) / access.size;
    return fits ? EFI_SUCCESS : EFI_UNSUPPORTED;
}

std::size_t PciFunction::BufferSize(UINT32 width, UINTN count) {
    const Access access(width);
    return access.element == 0 ? access.size : access.size * count;
}

EFI_STATUS PciFunction::ReadConfig(UINT32 width, UINT64 offset, UINTN count, void* buffer) const {
    const EFI_STATUS status = CheckAccess(width, offset, count, buffer);
    if (EFI_ERROR(status) || EFI_ERROR(readStatus_)) {
        return EFI_ERROR(status) ? status : readStatus_;
    }
    const Access access(width);
    auto* out = static_cast<UINT8*>(buffer);
    for (UINTN i = 0; i < count; i++) {
        std::memcpy(out + i * access.element, config_.data() + offset + i * access.place,
                    access.size);
    }
    return EFI_SUCCESS;
}

EFI_STATUS PciFunction::WriteConfig(UINT32 width, UINT64 offset, UINTN count, const void* buffer) {
    const EFI_STATUS status = CheckAccess(width, offset, count, buffer);
    if (EFI_ERROR(status)) {
        return status;
    }
    const Access access(width);
    const auto* in = static_cast<const UINT8*>(buffer);
    for (UINTN i = 0; i < count; i++) {
        for (std::size_t byte = 0; byte < access.size; byte++) {
            const std::size_t at = offset + i * access.place + byte;
            const UINT8 value = in[i * access.element + byte];
            config_[at] = UINT8((config_[at] & ~writable_[at]) | (value & writable_[at]));
        }
    }
    return EFI_SUCCESS;
}

UINT64 PciFunction::SupportedAttributes() const {
    UINT64 supported = EFI_PCI_IO_ATTRIBUTE_IO | EFI_PCI_IO_ATTRIBUTE_MEMORY |
                       EFI_PCI_IO_ATTRIBUTE_BUS_MASTER | EFI_PCI_IO_ATTRIBUTE_DUAL_ADDRESS_CYCLE |
                       EFI_PCI_IO_ATTRIBUTE_EMBEDDED_ROM;
    if (class_.base == PCI_CLASS_DISPLAY || class_.Is(PCI_CLASS_BRIDGE, PCI_CLASS_BRIDGE_P2P)) {
        supported |= kVgaAttributes;
    }
    if (class_.Is(PCI_CLASS_BRIDGE, 1)) {
        supported |= EFI_PCI_IO_ATTRIBUTE_ISA_MOTHERBOARD_IO | EFI_PCI_IO_ATTRIBUTE_ISA_IO |
                     EFI_PCI_IO_ATTRIBUTE_ISA_IO_16;
    }
    return supported;
}

// The attributes and the registers that follow from them, those of the bridges above included:
// legacy display accesses reach a function only through bridges that let them pass.
void PciFunction::SetAttributes(UINT64 attributes) {
    constexpr UINT16 kDecoding =
        EFI_PCI_COMMAND_IO_SPACE | EFI_PCI_COMMAND_MEMORY_SPACE | EFI_PCI_COMMAND_BUS_MASTER;
    const UINT64 changed = attributes_ ^ attributes;
    attributes_ = attributes;
    UINT16 command = Get16(PCI_COMMAND_OFFSET) & UINT16(~kDecoding);
    command |= (attributes & EFI_PCI_IO_ATTRIBUTE_IO) != 0 ? EFI_PCI_COMMAND_IO_SPACE : 0;
    command |= (attributes & EFI_PCI_IO_ATTRIBUTE_MEMORY) != 0 ? EFI_PCI_COMMAND_MEMORY_SPACE : 0;
    command |= (attributes & EFI_PCI_IO_ATTRIBUTE_BUS_MASTER) != 0 ? EFI_PCI_COMMAND_BUS_MASTER : 0;
    Put16(PCI_COMMAND_OFFSET, command);
    if ((changed & kVgaDecode) == 0) {
        return;
    }
    PciFunction* bridge = device.parent != nullptr ? Of(*device.parent) : nullptr;
    for (; bridge != nullptr; bridge = Of(*bridge->device.parent)) {
        UINT8& control = bridge->config_[PCI_BRIDGE_CONTROL_REGISTER_OFFSET];
        control = (attributes & kVgaDecode) != 0 ? UINT8(control | EFI_PCI_BRIDGE_CONTROL_VGA)
                                                 : UINT8(control & ~EFI_PCI_BRIDGE_CONTROL_VGA);
    }
}

// ---- The protocol

void PciFunction::FillTable() {
    table_.owner = this;
    EFI_PCI_IO_PROTOCOL& table = table_.protocol;
    table.Pci = {&PciRead, &PciWrite};
    table.Flush = &Flush;
    table.GetLocation = &GetLocation;
    table.Attributes = &ChangeAttributes;
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
    FillUnsupported<"GetBarAttributes">(table.GetBarAttributes);
    FillUnsupported<"SetBarAttributes">(table.SetBarAttributes);
}

EFI_STATUS EFIAPI PciFunction::PciRead(EFI_PCI_IO_PROTOCOL* self, EFI_PCI_IO_PROTOCOL_WIDTH width,
                                       UINT32 offset, UINTN count, void* buffer) {
    const PciFunction& function = Table::From(self);
    if (auto fault = function.device.Enter("PciIo", "PciRead", self)) {
        return *fault;
    }
    return function.ReadConfig(width, offset, count, buffer);
}

EFI_STATUS EFIAPI PciFunction::PciWrite(EFI_PCI_IO_PROTOCOL* self, EFI_PCI_IO_PROTOCOL_WIDTH width,
                                        UINT32 offset, UINTN count, void* buffer) {
    PciFunction& function = Table::From(self);
    if (auto fault = function.device.Enter("PciIo", "PciWrite", self)) {
        return *fault;
    }
    return function.WriteConfig(width, offset, count, buffer);
}

EFI_STATUS EFIAPI PciFunction::Flush(EFI_PCI_IO_PROTOCOL* self) {
    if (auto fault = Table::From(self).device.Enter("PciIo", "Flush", self)) {
        return *fault;
    }
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI PciFunction::GetLocation(EFI_PCI_IO_PROTOCOL* self, UINTN* segment, UINTN* bus,
                                           UINTN* deviceNumber, UINTN* function) {
    const PciFunction& owner = Table::From(self);
    if (auto fault = owner.device.Enter("PciIo", "GetLocation", self)) {
        return *fault;
    }
    if (segment == nullptr || bus == nullptr || deviceNumber == nullptr || function == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *segment = 0;
    *bus = owner.address.bus;
    *deviceNumber = owner.address.device;
    *function = owner.address.function;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI PciFunction::ChangeAttributes(EFI_PCI_IO_PROTOCOL* self,
                                                EFI_PCI_IO_PROTOCOL_ATTRIBUTE_OPERATION operation,
                                                UINT64 attributes, UINT64* result) {
    PciFunction& function = Table::From(self);
    if (auto fault = function.device.Enter("PciIo", "Attributes", self)) {
        return *fault;
    }
    const bool asks = operation == EfiPciIoAttributeOperationGet ||
                      operation == EfiPciIoAttributeOperationSupported;
    if (operation >= EfiPciIoAttributeOperationMaximum || (asks && result == nullptr)) {
        return EFI_INVALID_PARAMETER;
    }
    if (asks) {
        *result = operation == EfiPciIoAttributeOperationGet ? function.attributes_
                                                             : function.SupportedAttributes();
        return EFI_SUCCESS;
    }
    if ((attributes & ~function.SupportedAttributes()) != 0) {
        return EFI_UNSUPPORTED;
    }
    if (operation == EfiPciIoAttributeOperationEnable) {
        attributes |= function.attributes_;
    } else if (operation == EfiPciIoAttributeOperationDisable) {
        attributes = function.attributes_ & ~attributes;
    }
    function.SetAttributes(attributes);
    return EFI_SUCCESS;
}

} // namespace sim
