// One PCI function: its configuration space and the PCI I/O protocol that its handle shows
// (UEFI 2.10, section 14.4).
//
// Configuration space is what "pci" of the machine file says; a function without it, or one that
// only a path implies, has made-up identifiers and the class that fits what hangs from it. There
// are no BARs: memory and I/O space answer EFI_UNSUPPORTED.
#pragma once

#include "sim/devices/Device.h"
#include "sim/siblings/ProtocolTable.h"
#include "uefi/PciIo.h"

#include <array>

namespace sim {

struct PciClass {
    UINT8 base = 0xFF;
    UINT8 sub = 0;
    UINT8 interface = 0;

    bool Is(UINT8 wantedBase, UINT8 wantedSub) const {
        return base == wantedBase && sub == wantedSub;
    }
};

struct PciAddress {
    UINT8 bus = 0;
    UINT8 device = 0;
    UINT8 function = 0;

    bool operator==(const PciAddress&) const = default;
};

class PciFunction final : public DeviceObject {
public:
    static constexpr std::size_t kConfigSize = 256;

    // Reads "pci" of the device; throws MachineFileError.
    PciFunction(Device& owner, const PciAddress& where);
    // Makes it a bridge: the header of one, with its bus numbers.
    void MakeBridge(UINT8 secondary, UINT8 subordinate);
    // One of several functions of its device.
    void MakeMultiFunction();

    // The object of a PCI function, nullptr for any other device.
    static PciFunction* Of(const Device& owner) { return owner.Find<PciFunction>(); }

    Device& device;
    const PciAddress address;
    const PciClass& Class() const { return class_; }
    bool IsBridge() const { return (config_[PCI_HEADER_TYPE_OFFSET] & 0x7F) == 1; }

    // Configuration space by width (the same numbers for PCI I/O and root bridge I/O).
    // EFI_INVALID_PARAMETER: a null buffer or no such width; EFI_UNSUPPORTED: not aligned or beyond
    // the configuration space. A read answers "readStatus" when the machine file gives one.
    EFI_STATUS ReadConfig(UINT32 width, UINT64 offset, UINTN count, void* buffer) const;
    EFI_STATUS WriteConfig(UINT32 width, UINT64 offset, UINTN count, const void* buffer);

    // What both answer to a wrong access, and the size of their buffer.
    static EFI_STATUS CheckAccess(UINT32 width, UINT64 offset, UINTN count, const void* buffer);
    static std::size_t BufferSize(UINT32 width, UINTN count);

    EFI_PCI_IO_PROTOCOL* Protocol() { return &table_.protocol; }
    UINT64 Attributes() const { return attributes_; }
    UINT64 SupportedAttributes() const;

private:
    using Table = Interface<EFI_PCI_IO_PROTOCOL, PciFunction>;

    void FillTable();
    void Put16(std::size_t offset, UINT16 value);
    UINT16 Get16(std::size_t offset) const;
    void SetAttributes(UINT64 attributes);

    static EFI_STATUS EFIAPI PciRead(EFI_PCI_IO_PROTOCOL* self, EFI_PCI_IO_PROTOCOL_WIDTH width,
                                     UINT32 offset, UINTN count, void* buffer);
    static EFI_STATUS EFIAPI PciWrite(EFI_PCI_IO_PROTOCOL* self, EFI_PCI_IO_PROTOCOL_WIDTH width,
                                      UINT32 offset, UINTN count, void* buffer);
    static EFI_STATUS EFIAPI Flush(EFI_PCI_IO_PROTOCOL* self);
    static EFI_STATUS EFIAPI GetLocation(EFI_PCI_IO_PROTOCOL* self, UINTN* segment, UINTN* bus,
                                         UINTN* deviceNumber, UINTN* function);
    static EFI_STATUS EFIAPI ChangeAttributes(EFI_PCI_IO_PROTOCOL* self,
                                              EFI_PCI_IO_PROTOCOL_ATTRIBUTE_OPERATION operation,
                                              UINT64 attributes, UINT64* result);

    PciClass class_;
    EFI_STATUS readStatus_;
    UINT64 attributes_ = 0;
    std::array<UINT8, kConfigSize> config_{};
    std::array<UINT8, kConfigSize> writable_{}; // bits that a write changes
    Table table_;
};

// The class of the function by the machine file, by what hangs from it, or by its kind.
PciClass ClassOf(const Device& function);

} // namespace sim
