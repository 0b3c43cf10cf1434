// EFI_PCI_IO_PROTOCOL: one PCI function (UEFI 2.10, section 14.4), and the configuration space
// offsets and class codes of the PCI standard.
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiPciIoProtocolGuid = {
    0x4CF5B200, 0x68B8, 0x4CA5, {0x9E, 0xEC, 0xB2, 0x3E, 0x3F, 0x50, 0x02, 0x9A}};

enum EFI_PCI_IO_PROTOCOL_WIDTH : UINT32 {
    EfiPciIoWidthUint8,
    EfiPciIoWidthUint16,
    EfiPciIoWidthUint32,
    EfiPciIoWidthUint64,
    EfiPciIoWidthFifoUint8,
    EfiPciIoWidthFifoUint16,
    EfiPciIoWidthFifoUint32,
    EfiPciIoWidthFifoUint64,
    EfiPciIoWidthFillUint8,
    EfiPciIoWidthFillUint16,
    EfiPciIoWidthFillUint32,
    EfiPciIoWidthFillUint64,
    EfiPciIoWidthMaximum
};

inline constexpr UINT8 EFI_PCI_IO_PASS_THROUGH_BAR = 0xFF;

enum EFI_PCI_IO_PROTOCOL_OPERATION : UINT32 {
    EfiPciIoOperationBusMasterRead,
    EfiPciIoOperationBusMasterWrite,
    EfiPciIoOperationBusMasterCommonBuffer,
    EfiPciIoOperationMaximum
};

enum EFI_PCI_IO_PROTOCOL_ATTRIBUTE_OPERATION : UINT32 {
    EfiPciIoAttributeOperationGet,
    EfiPciIoAttributeOperationSet,
    EfiPciIoAttributeOperationEnable,
    EfiPciIoAttributeOperationDisable,
    EfiPciIoAttributeOperationSupported,
    EfiPciIoAttributeOperationMaximum
};

inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_ISA_MOTHERBOARD_IO = 0x0001;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_ISA_IO = 0x0002;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_VGA_PALETTE_IO = 0x0004;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_VGA_MEMORY = 0x0008;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_VGA_IO = 0x0010;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_IDE_PRIMARY_IO = 0x0020;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_IDE_SECONDARY_IO = 0x0040;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_MEMORY_WRITE_COMBINE = 0x0080;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_IO = 0x0100;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_MEMORY = 0x0200;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_BUS_MASTER = 0x0400;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_MEMORY_CACHED = 0x0800;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_MEMORY_DISABLE = 0x1000;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_EMBEDDED_DEVICE = 0x2000;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_EMBEDDED_ROM = 0x4000;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_DUAL_ADDRESS_CYCLE = 0x8000;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_ISA_IO_16 = 0x10000;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_VGA_PALETTE_IO_16 = 0x20000;
inline constexpr UINT64 EFI_PCI_IO_ATTRIBUTE_VGA_IO_16 = 0x40000;

// Configuration space offsets.
inline constexpr UINT32 PCI_VENDOR_ID_OFFSET = 0x00;
inline constexpr UINT32 PCI_DEVICE_ID_OFFSET = 0x02;
inline constexpr UINT32 PCI_COMMAND_OFFSET = 0x04;
inline constexpr UINT32 PCI_PRIMARY_STATUS_OFFSET = 0x06;
inline constexpr UINT32 PCI_REVISION_ID_OFFSET = 0x08;
inline constexpr UINT32 PCI_CLASSCODE_OFFSET = 0x09; // programming interface, subclass, class
inline constexpr UINT32 PCI_HEADER_TYPE_OFFSET = 0x0E;
inline constexpr UINT32 PCI_BASE_ADDRESSREG_OFFSET = 0x10;
inline constexpr UINT32 PCI_BRIDGE_PRIMARY_BUS_REGISTER_OFFSET = 0x18;
inline constexpr UINT32 PCI_BRIDGE_SECONDARY_BUS_REGISTER_OFFSET = 0x19;
inline constexpr UINT32 PCI_BRIDGE_SUBORDINATE_BUS_REGISTER_OFFSET = 0x1A;
inline constexpr UINT32 PCI_SUBSYSTEM_VENDOR_ID_OFFSET = 0x2C;
inline constexpr UINT32 PCI_SUBSYSTEM_ID_OFFSET = 0x2E;
inline constexpr UINT32 PCI_BRIDGE_CONTROL_REGISTER_OFFSET = 0x3E;

inline constexpr UINT16 EFI_PCI_COMMAND_IO_SPACE = 0x0001;
inline constexpr UINT16 EFI_PCI_COMMAND_MEMORY_SPACE = 0x0002;
inline constexpr UINT16 EFI_PCI_COMMAND_BUS_MASTER = 0x0004;
inline constexpr UINT16 EFI_PCI_BRIDGE_CONTROL_VGA = 0x0008;
inline constexpr UINT16 EFI_PCI_BRIDGE_CONTROL_VGA_16 = 0x0010;
inline constexpr UINT8 HEADER_TYPE_MULTI_FUNCTION = 0x80;

// Class codes.
inline constexpr UINT8 PCI_CLASS_MASS_STORAGE = 0x01;
inline constexpr UINT8 PCI_CLASS_MASS_STORAGE_SCSI = 0x00;
inline constexpr UINT8 PCI_CLASS_MASS_STORAGE_IDE = 0x01;
inline constexpr UINT8 PCI_CLASS_MASS_STORAGE_RAID = 0x04;
inline constexpr UINT8 PCI_CLASS_MASS_STORAGE_SATADPA = 0x06;
inline constexpr UINT8 PCI_CLASS_MASS_STORAGE_SAS = 0x07;
inline constexpr UINT8 PCI_CLASS_MASS_STORAGE_NVM = 0x08;
inline constexpr UINT8 PCI_CLASS_NETWORK = 0x02;
inline constexpr UINT8 PCI_CLASS_NETWORK_ETHERNET = 0x00;
inline constexpr UINT8 PCI_CLASS_DISPLAY = 0x03;
inline constexpr UINT8 PCI_CLASS_DISPLAY_VGA = 0x00;
inline constexpr UINT8 PCI_CLASS_DISPLAY_3D = 0x02;
inline constexpr UINT8 PCI_CLASS_DISPLAY_OTHER = 0x80;
inline constexpr UINT8 PCI_CLASS_BRIDGE = 0x06;
inline constexpr UINT8 PCI_CLASS_BRIDGE_P2P = 0x04;
inline constexpr UINT8 PCI_CLASS_SERIAL = 0x0C;
inline constexpr UINT8 PCI_CLASS_SERIAL_USB = 0x03;
inline constexpr UINT8 PCI_IF_UHCI = 0x00;
inline constexpr UINT8 PCI_IF_OHCI = 0x10;
inline constexpr UINT8 PCI_IF_EHCI = 0x20;
inline constexpr UINT8 PCI_IF_XHCI = 0x30;
inline constexpr UINT8 PCI_CLASS_SERIAL_FIBERCHANNEL = 0x04;

struct EFI_PCI_IO_PROTOCOL;

using EFI_PCI_IO_PROTOCOL_POLL_IO_MEM = EFI_STATUS(EFIAPI*)(EFI_PCI_IO_PROTOCOL* This,
                                                            EFI_PCI_IO_PROTOCOL_WIDTH Width,
                                                            UINT8 BarIndex, UINT64 Offset,
                                                            UINT64 Mask, UINT64 Value, UINT64 Delay,
                                                            UINT64* Result);
using EFI_PCI_IO_PROTOCOL_IO_MEM = EFI_STATUS(EFIAPI*)(EFI_PCI_IO_PROTOCOL* This,
                                                       EFI_PCI_IO_PROTOCOL_WIDTH Width,
                                                       UINT8 BarIndex, UINT64 Offset, UINTN Count,
                                                       void* Buffer);
using EFI_PCI_IO_PROTOCOL_CONFIG = EFI_STATUS(EFIAPI*)(EFI_PCI_IO_PROTOCOL* This,
                                                       EFI_PCI_IO_PROTOCOL_WIDTH Width,
                                                       UINT32 Offset, UINTN Count, void* Buffer);

struct EFI_PCI_IO_PROTOCOL_ACCESS {
    EFI_PCI_IO_PROTOCOL_IO_MEM Read;
    EFI_PCI_IO_PROTOCOL_IO_MEM Write;
};

struct EFI_PCI_IO_PROTOCOL_CONFIG_ACCESS {
    EFI_PCI_IO_PROTOCOL_CONFIG Read;
    EFI_PCI_IO_PROTOCOL_CONFIG Write;
};

struct EFI_PCI_IO_PROTOCOL {
    EFI_PCI_IO_PROTOCOL_POLL_IO_MEM PollMem;
    EFI_PCI_IO_PROTOCOL_POLL_IO_MEM PollIo;
    EFI_PCI_IO_PROTOCOL_ACCESS Mem;
    EFI_PCI_IO_PROTOCOL_ACCESS Io;
    EFI_PCI_IO_PROTOCOL_CONFIG_ACCESS Pci;
    EFI_STATUS(EFIAPI* CopyMem)
    (EFI_PCI_IO_PROTOCOL* This, EFI_PCI_IO_PROTOCOL_WIDTH Width, UINT8 DestBarIndex,
     UINT64 DestOffset, UINT8 SrcBarIndex, UINT64 SrcOffset, UINTN Count);
    EFI_STATUS(EFIAPI* Map)
    (EFI_PCI_IO_PROTOCOL* This, EFI_PCI_IO_PROTOCOL_OPERATION Operation, void* HostAddress,
     UINTN* NumberOfBytes, EFI_PHYSICAL_ADDRESS* DeviceAddress, void** Mapping);
    EFI_STATUS(EFIAPI* Unmap)(EFI_PCI_IO_PROTOCOL* This, void* Mapping);
    // Type is an EFI_ALLOCATE_TYPE, MemoryType an EFI_MEMORY_TYPE.
    EFI_STATUS(EFIAPI* AllocateBuffer)
    (EFI_PCI_IO_PROTOCOL* This, UINT32 Type, UINT32 MemoryType, UINTN Pages, void** HostAddress,
     UINT64 Attributes);
    EFI_STATUS(EFIAPI* FreeBuffer)(EFI_PCI_IO_PROTOCOL* This, UINTN Pages, void* HostAddress);
    EFI_STATUS(EFIAPI* Flush)(EFI_PCI_IO_PROTOCOL* This);
    EFI_STATUS(EFIAPI* GetLocation)
    (EFI_PCI_IO_PROTOCOL* This, UINTN* SegmentNumber, UINTN* BusNumber, UINTN* DeviceNumber,
     UINTN* FunctionNumber);
    EFI_STATUS(EFIAPI* Attributes)
    (EFI_PCI_IO_PROTOCOL* This, EFI_PCI_IO_PROTOCOL_ATTRIBUTE_OPERATION Operation,
     UINT64 Attributes, UINT64* Result);
    // Resources are ACPI address space descriptors from pool, freed by the caller.
    EFI_STATUS(EFIAPI* GetBarAttributes)
    (EFI_PCI_IO_PROTOCOL* This, UINT8 BarIndex, UINT64* Supports, void** Resources);
    EFI_STATUS(EFIAPI* SetBarAttributes)
    (EFI_PCI_IO_PROTOCOL* This, UINT64 Attributes, UINT8 BarIndex, UINT64* Offset, UINT64* Length);
    UINT64 RomSize;
    void* RomImage;
};
static_assert(sizeof(EFI_PCI_IO_PROTOCOL) == 160);

template <>
struct ProtocolGuid<EFI_PCI_IO_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiPciIoProtocolGuid;
};
