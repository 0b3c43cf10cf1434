// EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL: memory, I/O and configuration space behind a root bridge
// (UEFI 2.10, section 14.2).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiPciRootBridgeIoProtocolGuid = {
    0x2F707EBB, 0x4A1A, 0x11D4, {0x9A, 0x38, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

enum EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH : UINT32 {
    EfiPciWidthUint8,
    EfiPciWidthUint16,
    EfiPciWidthUint32,
    EfiPciWidthUint64,
    EfiPciWidthFifoUint8,
    EfiPciWidthFifoUint16,
    EfiPciWidthFifoUint32,
    EfiPciWidthFifoUint64,
    EfiPciWidthFillUint8,
    EfiPciWidthFillUint16,
    EfiPciWidthFillUint32,
    EfiPciWidthFillUint64,
    EfiPciWidthMaximum
};

enum EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_OPERATION : UINT32 {
    EfiPciOperationBusMasterRead,
    EfiPciOperationBusMasterWrite,
    EfiPciOperationBusMasterCommonBuffer,
    EfiPciOperationBusMasterRead64,
    EfiPciOperationBusMasterWrite64,
    EfiPciOperationBusMasterCommonBuffer64,
    EfiPciOperationMaximum
};

// A configuration space address for Pci.Read() and Pci.Write(); registers up to 0xFF.
constexpr UINT64 EFI_PCI_ADDRESS(UINT8 bus, UINT8 device, UINT8 function, UINT8 reg) {
    return (UINT64(bus) << 24) | (UINT64(device) << 16) | (UINT64(function) << 8) | reg;
}

struct EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL;

using EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_POLL_IO_MEM = EFI_STATUS(EFIAPI*)(
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH Width,
    UINT64 Address, UINT64 Mask, UINT64 Value, UINT64 Delay, UINT64* Result);
using EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_IO_MEM = EFI_STATUS(EFIAPI*)(
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH Width,
    UINT64 Address, UINTN Count, void* Buffer);

struct EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_ACCESS {
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_IO_MEM Read;
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_IO_MEM Write;
};

struct EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL {
    EFI_HANDLE ParentHandle;
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_POLL_IO_MEM PollMem;
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_POLL_IO_MEM PollIo;
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_ACCESS Mem;
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_ACCESS Io;
    EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_ACCESS Pci;
    EFI_STATUS(EFIAPI* CopyMem)
    (EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_WIDTH Width,
     UINT64 DestAddress, UINT64 SrcAddress, UINTN Count);
    EFI_STATUS(EFIAPI* Map)
    (EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL_OPERATION Operation,
     void* HostAddress, UINTN* NumberOfBytes, EFI_PHYSICAL_ADDRESS* DeviceAddress, void** Mapping);
    EFI_STATUS(EFIAPI* Unmap)(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, void* Mapping);
    // Type is an EFI_ALLOCATE_TYPE, MemoryType an EFI_MEMORY_TYPE.
    EFI_STATUS(EFIAPI* AllocateBuffer)
    (EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, UINT32 Type, UINT32 MemoryType, UINTN Pages,
     void** HostAddress, UINT64 Attributes);
    EFI_STATUS(EFIAPI* FreeBuffer)
    (EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, UINTN Pages, void* HostAddress);
    EFI_STATUS(EFIAPI* Flush)(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This);
    EFI_STATUS(EFIAPI* GetAttributes)
    (EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, UINT64* Supports, UINT64* Attributes);
    EFI_STATUS(EFIAPI* SetAttributes)
    (EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, UINT64 Attributes, UINT64* ResourceBase,
     UINT64* ResourceLength);
    // Resources are ACPI address space descriptors that stay with the producer.
    EFI_STATUS(EFIAPI* Configuration)(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL* This, void** Resources);
    UINT32 SegmentNumber;
};
static_assert(sizeof(EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL) == 152);

template <>
struct ProtocolGuid<EFI_PCI_ROOT_BRIDGE_IO_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiPciRootBridgeIoProtocolGuid;
};
