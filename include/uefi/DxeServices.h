// The DXE services table: the global coherency domain's memory and I/O maps, the dispatcher and
// firmware volumes handed to it (PI 1.8, volume 2, section 7).
#pragma once

#include "uefi/Base.h"
#include "uefi/BootServices.h"
#include "uefi/SystemTable.h"

inline constexpr UINT32 DXE_SERVICES_REVISION = (1u << 16) | 80u;

enum EFI_GCD_MEMORY_TYPE : UINT32 {
    EfiGcdMemoryTypeNonExistent,
    EfiGcdMemoryTypeReserved,
    EfiGcdMemoryTypeSystemMemory,
    EfiGcdMemoryTypeMemoryMappedIo,
    EfiGcdMemoryTypePersistent,
    EfiGcdMemoryTypeMoreReliable,
    EfiGcdMemoryTypeUnaccepted,
    EfiGcdMemoryTypeMaximum
};

enum EFI_GCD_IO_TYPE : UINT32 {
    EfiGcdIoTypeNonExistent,
    EfiGcdIoTypeReserved,
    EfiGcdIoTypeIo,
    EfiGcdIoTypeMaximum
};

enum EFI_GCD_ALLOCATE_TYPE : UINT32 {
    EfiGcdAllocateAnySearchBottomUp,
    EfiGcdAllocateMaxAddressSearchBottomUp,
    EfiGcdAllocateAddress,
    EfiGcdAllocateAnySearchTopDown,
    EfiGcdAllocateMaxAddressSearchTopDown,
    EfiGcdMaxAllocateType
};

struct EFI_GCD_MEMORY_SPACE_DESCRIPTOR {
    EFI_PHYSICAL_ADDRESS BaseAddress;
    UINT64 Length;
    UINT64 Capabilities;
    UINT64 Attributes;
    EFI_GCD_MEMORY_TYPE GcdMemoryType;
    EFI_HANDLE ImageHandle;
    EFI_HANDLE DeviceHandle;
};
static_assert(sizeof(EFI_GCD_MEMORY_SPACE_DESCRIPTOR) == 56);

struct EFI_GCD_IO_SPACE_DESCRIPTOR {
    EFI_PHYSICAL_ADDRESS BaseAddress;
    UINT64 Length;
    EFI_GCD_IO_TYPE GcdIoType;
    EFI_HANDLE ImageHandle;
    EFI_HANDLE DeviceHandle;
};
static_assert(sizeof(EFI_GCD_IO_SPACE_DESCRIPTOR) == 40);

// In slot order. Maps returned by the two GetXxxSpaceMap() services are freed by the caller.
struct EFI_DXE_SERVICES {
    EFI_TABLE_HEADER Hdr;

    // Memory space.
    EFI_STATUS(EFIAPI* AddMemorySpace)
    (EFI_GCD_MEMORY_TYPE GcdMemoryType, EFI_PHYSICAL_ADDRESS BaseAddress, UINT64 Length,
     UINT64 Capabilities);
    EFI_STATUS(EFIAPI* AllocateMemorySpace)
    (EFI_GCD_ALLOCATE_TYPE GcdAllocateType, EFI_GCD_MEMORY_TYPE GcdMemoryType, UINTN Alignment,
     UINT64 Length, EFI_PHYSICAL_ADDRESS* BaseAddress, EFI_HANDLE ImageHandle,
     EFI_HANDLE DeviceHandle);
    EFI_STATUS(EFIAPI* FreeMemorySpace)(EFI_PHYSICAL_ADDRESS BaseAddress, UINT64 Length);
    EFI_STATUS(EFIAPI* RemoveMemorySpace)(EFI_PHYSICAL_ADDRESS BaseAddress, UINT64 Length);
    EFI_STATUS(EFIAPI* GetMemorySpaceDescriptor)
    (EFI_PHYSICAL_ADDRESS BaseAddress, EFI_GCD_MEMORY_SPACE_DESCRIPTOR* Descriptor);
    EFI_STATUS(EFIAPI* SetMemorySpaceAttributes)
    (EFI_PHYSICAL_ADDRESS BaseAddress, UINT64 Length, UINT64 Attributes);
    EFI_STATUS(EFIAPI* GetMemorySpaceMap)
    (UINTN* NumberOfDescriptors, EFI_GCD_MEMORY_SPACE_DESCRIPTOR** MemorySpaceMap);

    // I/O space.
    EFI_STATUS(EFIAPI* AddIoSpace)
    (EFI_GCD_IO_TYPE GcdIoType, EFI_PHYSICAL_ADDRESS BaseAddress, UINT64 Length);
    EFI_STATUS(EFIAPI* AllocateIoSpace)
    (EFI_GCD_ALLOCATE_TYPE GcdAllocateType, EFI_GCD_IO_TYPE GcdIoType, UINTN Alignment,
     UINT64 Length, EFI_PHYSICAL_ADDRESS* BaseAddress, EFI_HANDLE ImageHandle,
     EFI_HANDLE DeviceHandle);
    EFI_STATUS(EFIAPI* FreeIoSpace)(EFI_PHYSICAL_ADDRESS BaseAddress, UINT64 Length);
    EFI_STATUS(EFIAPI* RemoveIoSpace)(EFI_PHYSICAL_ADDRESS BaseAddress, UINT64 Length);
    EFI_STATUS(EFIAPI* GetIoSpaceDescriptor)
    (EFI_PHYSICAL_ADDRESS BaseAddress, EFI_GCD_IO_SPACE_DESCRIPTOR* Descriptor);
    EFI_STATUS(EFIAPI* GetIoSpaceMap)
    (UINTN* NumberOfDescriptors, EFI_GCD_IO_SPACE_DESCRIPTOR** IoSpaceMap);

    // Dispatcher.
    EFI_STATUS(EFIAPI* Dispatch)();
    EFI_STATUS(EFIAPI* Schedule)(EFI_HANDLE FirmwareVolumeHandle, const EFI_GUID* FileName);
    EFI_STATUS(EFIAPI* Trust)(EFI_HANDLE FirmwareVolumeHandle, const EFI_GUID* FileName);
    EFI_STATUS(EFIAPI* ProcessFirmwareVolume)
    (const void* FirmwareVolumeHeader, UINTN Size, EFI_HANDLE* FirmwareVolumeHandle);

    EFI_STATUS(EFIAPI* SetMemorySpaceCapabilities)
    (EFI_PHYSICAL_ADDRESS BaseAddress, UINT64 Length, UINT64 Capabilities);
};
static_assert(sizeof(EFI_DXE_SERVICES) == 168);
static_assert(offsetof(EFI_DXE_SERVICES, Dispatch) == 128);
