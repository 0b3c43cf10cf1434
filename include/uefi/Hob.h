// Hand-off blocks: the list that the pre-EFI phase leaves for DXE (PI 1.8, volume 3, section 5).
// The list hangs from the configuration table gEfiHobListGuid (SystemTable.h).
#pragma once

#include "uefi/Base.h"
#include "uefi/BootServices.h"

inline constexpr UINT16 EFI_HOB_TYPE_HANDOFF = 0x0001;
inline constexpr UINT16 EFI_HOB_TYPE_MEMORY_ALLOCATION = 0x0002;
inline constexpr UINT16 EFI_HOB_TYPE_RESOURCE_DESCRIPTOR = 0x0003;
inline constexpr UINT16 EFI_HOB_TYPE_GUID_EXTENSION = 0x0004;
inline constexpr UINT16 EFI_HOB_TYPE_FV = 0x0005;
inline constexpr UINT16 EFI_HOB_TYPE_CPU = 0x0006;
inline constexpr UINT16 EFI_HOB_TYPE_MEMORY_POOL = 0x0007;
inline constexpr UINT16 EFI_HOB_TYPE_FV2 = 0x0009;
inline constexpr UINT16 EFI_HOB_TYPE_UEFI_CAPSULE = 0x000B;
inline constexpr UINT16 EFI_HOB_TYPE_FV3 = 0x000C;
inline constexpr UINT16 EFI_HOB_TYPE_UNUSED = 0xFFFE;
inline constexpr UINT16 EFI_HOB_TYPE_END_OF_HOB_LIST = 0xFFFF;

struct EFI_HOB_GENERIC_HEADER {
    UINT16 HobType;
    UINT16 HobLength; // header included, a multiple of 8
    UINT32 Reserved;
};
static_assert(sizeof(EFI_HOB_GENERIC_HEADER) == 8);

using EFI_BOOT_MODE = UINT32;
inline constexpr EFI_BOOT_MODE BOOT_WITH_FULL_CONFIGURATION = 0x00;
inline constexpr EFI_BOOT_MODE BOOT_WITH_MINIMAL_CONFIGURATION = 0x01;
inline constexpr EFI_BOOT_MODE BOOT_ASSUMING_NO_CONFIGURATION_CHANGES = 0x02;
inline constexpr EFI_BOOT_MODE BOOT_WITH_FULL_CONFIGURATION_PLUS_DIAGNOSTICS = 0x03;
inline constexpr EFI_BOOT_MODE BOOT_WITH_DEFAULT_SETTINGS = 0x04;
inline constexpr EFI_BOOT_MODE BOOT_ON_S4_RESUME = 0x05;
inline constexpr EFI_BOOT_MODE BOOT_ON_S5_RESUME = 0x06;
inline constexpr EFI_BOOT_MODE BOOT_WITH_MFG_MODE_SETTINGS = 0x07;
inline constexpr EFI_BOOT_MODE BOOT_ON_S2_RESUME = 0x10;
inline constexpr EFI_BOOT_MODE BOOT_ON_S3_RESUME = 0x11;
inline constexpr EFI_BOOT_MODE BOOT_ON_FLASH_UPDATE = 0x12;
inline constexpr EFI_BOOT_MODE BOOT_IN_RECOVERY_MODE = 0x20;

inline constexpr UINT32 EFI_HOB_HANDOFF_TABLE_VERSION = 0x0009;

struct EFI_HOB_HANDOFF_INFO_TABLE {
    EFI_HOB_GENERIC_HEADER Header;
    UINT32 Version;
    EFI_BOOT_MODE BootMode;
    EFI_PHYSICAL_ADDRESS EfiMemoryTop;
    EFI_PHYSICAL_ADDRESS EfiMemoryBottom;
    EFI_PHYSICAL_ADDRESS EfiFreeMemoryTop;
    EFI_PHYSICAL_ADDRESS EfiFreeMemoryBottom;
    EFI_PHYSICAL_ADDRESS EfiEndOfHobList;
};
static_assert(sizeof(EFI_HOB_HANDOFF_INFO_TABLE) == 56);

struct EFI_HOB_MEMORY_ALLOCATION_HEADER {
    EFI_GUID Name;
    EFI_PHYSICAL_ADDRESS MemoryBaseAddress;
    UINT64 MemoryLength;
    EFI_MEMORY_TYPE MemoryType;
    UINT8 Reserved[4];
};
static_assert(sizeof(EFI_HOB_MEMORY_ALLOCATION_HEADER) == 40);

struct EFI_HOB_MEMORY_ALLOCATION {
    EFI_HOB_GENERIC_HEADER Header;
    EFI_HOB_MEMORY_ALLOCATION_HEADER AllocDescriptor;
};
static_assert(sizeof(EFI_HOB_MEMORY_ALLOCATION) == 48);

using EFI_RESOURCE_TYPE = UINT32;
inline constexpr EFI_RESOURCE_TYPE EFI_RESOURCE_SYSTEM_MEMORY = 0;
inline constexpr EFI_RESOURCE_TYPE EFI_RESOURCE_MEMORY_MAPPED_IO = 1;
inline constexpr EFI_RESOURCE_TYPE EFI_RESOURCE_IO = 2;
inline constexpr EFI_RESOURCE_TYPE EFI_RESOURCE_FIRMWARE_DEVICE = 3;
inline constexpr EFI_RESOURCE_TYPE EFI_RESOURCE_MEMORY_MAPPED_IO_PORT = 4;
inline constexpr EFI_RESOURCE_TYPE EFI_RESOURCE_MEMORY_RESERVED = 5;
inline constexpr EFI_RESOURCE_TYPE EFI_RESOURCE_IO_RESERVED = 6;
inline constexpr EFI_RESOURCE_TYPE EFI_RESOURCE_MEMORY_UNACCEPTED = 7;

using EFI_RESOURCE_ATTRIBUTE_TYPE = UINT32;
inline constexpr EFI_RESOURCE_ATTRIBUTE_TYPE EFI_RESOURCE_ATTRIBUTE_PRESENT = 0x00000001u;
inline constexpr EFI_RESOURCE_ATTRIBUTE_TYPE EFI_RESOURCE_ATTRIBUTE_INITIALIZED = 0x00000002u;
inline constexpr EFI_RESOURCE_ATTRIBUTE_TYPE EFI_RESOURCE_ATTRIBUTE_TESTED = 0x00000004u;
inline constexpr EFI_RESOURCE_ATTRIBUTE_TYPE EFI_RESOURCE_ATTRIBUTE_UNCACHEABLE = 0x00000400u;
inline constexpr EFI_RESOURCE_ATTRIBUTE_TYPE EFI_RESOURCE_ATTRIBUTE_WRITE_COMBINEABLE = 0x00000800u;
inline constexpr EFI_RESOURCE_ATTRIBUTE_TYPE EFI_RESOURCE_ATTRIBUTE_WRITE_THROUGH_CACHEABLE =
    0x00001000u;
inline constexpr EFI_RESOURCE_ATTRIBUTE_TYPE EFI_RESOURCE_ATTRIBUTE_WRITE_BACK_CACHEABLE =
    0x00002000u;

struct EFI_HOB_RESOURCE_DESCRIPTOR {
    EFI_HOB_GENERIC_HEADER Header;
    EFI_GUID Owner;
    EFI_RESOURCE_TYPE ResourceType;
    EFI_RESOURCE_ATTRIBUTE_TYPE ResourceAttribute;
    EFI_PHYSICAL_ADDRESS PhysicalStart;
    UINT64 ResourceLength;
};
static_assert(sizeof(EFI_HOB_RESOURCE_DESCRIPTOR) == 48);

// Data follows, HobLength - 24 bytes, padding to a multiple of 8 included.
struct EFI_HOB_GUID_TYPE {
    EFI_HOB_GENERIC_HEADER Header;
    EFI_GUID Name;
};
static_assert(sizeof(EFI_HOB_GUID_TYPE) == 24);

struct EFI_HOB_FIRMWARE_VOLUME {
    EFI_HOB_GENERIC_HEADER Header;
    EFI_PHYSICAL_ADDRESS BaseAddress;
    UINT64 Length;
};
static_assert(sizeof(EFI_HOB_FIRMWARE_VOLUME) == 24);

struct EFI_HOB_FIRMWARE_VOLUME2 {
    EFI_HOB_GENERIC_HEADER Header;
    EFI_PHYSICAL_ADDRESS BaseAddress;
    UINT64 Length;
    EFI_GUID FvName;
    EFI_GUID FileName;
};
static_assert(sizeof(EFI_HOB_FIRMWARE_VOLUME2) == 56);

struct EFI_HOB_FIRMWARE_VOLUME3 {
    EFI_HOB_GENERIC_HEADER Header;
    EFI_PHYSICAL_ADDRESS BaseAddress;
    UINT64 Length;
    UINT32 AuthenticationStatus;
    BOOLEAN ExtractedFv;
    EFI_GUID FvName;
    EFI_GUID FileName;
};
static_assert(sizeof(EFI_HOB_FIRMWARE_VOLUME3) == 64);

struct EFI_HOB_CPU {
    EFI_HOB_GENERIC_HEADER Header;
    UINT8 SizeOfMemorySpace; // address bits
    UINT8 SizeOfIoSpace;     // address bits
    UINT8 Reserved[6];
};
static_assert(sizeof(EFI_HOB_CPU) == 16);

struct EFI_HOB_UEFI_CAPSULE {
    EFI_HOB_GENERIC_HEADER Header;
    EFI_PHYSICAL_ADDRESS BaseAddress;
    UINT64 Length;
};
static_assert(sizeof(EFI_HOB_UEFI_CAPSULE) == 24);
