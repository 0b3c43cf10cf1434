// EFI_SMBIOS_PROTOCOL (PI 1.8, volume 5, section 6) and the entry points of the SMBIOS standard
// (DMTF DSP0134). The configuration table GUIDs are in SystemTable.h.
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiSmbiosProtocolGuid = {
    0x03583FF6, 0xCB36, 0x4940, {0x94, 0x7E, 0xB9, 0xB3, 0x9F, 0x4A, 0xFA, 0xF7}};

using EFI_SMBIOS_TYPE = UINT8;
using EFI_SMBIOS_HANDLE = UINT16;
using EFI_SMBIOS_STRING = UINT8;

// Add(): let the producer choose a handle. GetNext(): start at the first record.
inline constexpr EFI_SMBIOS_HANDLE SMBIOS_HANDLE_PI_RESERVED = 0xFFFE;

// Structure types.
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_BIOS_INFORMATION = 0;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_SYSTEM_INFORMATION = 1;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_BASEBOARD_INFORMATION = 2;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_SYSTEM_ENCLOSURE = 3;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_PROCESSOR_INFORMATION = 4;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_SYSTEM_SLOTS = 9;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_OEM_STRINGS = 11;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_PHYSICAL_MEMORY_ARRAY = 16;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_MEMORY_DEVICE = 17;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_IPMI_DEVICE_INFORMATION = 38;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_ONBOARD_DEVICES_EXTENDED_INFORMATION = 41;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_INACTIVE = 126;
inline constexpr EFI_SMBIOS_TYPE SMBIOS_TYPE_END_OF_TABLE = 127;

// Followed by the formatted area, then the string set: null-terminated strings and one more null;
// two nulls when there are none.
struct [[gnu::packed]] EFI_SMBIOS_TABLE_HEADER {
    EFI_SMBIOS_TYPE Type;
    UINT8 Length; // of the formatted area, header included
    EFI_SMBIOS_HANDLE Handle;
};
static_assert(sizeof(EFI_SMBIOS_TABLE_HEADER) == 4);

// The 32-bit entry point, anchored "_SM_".
struct [[gnu::packed]] SMBIOS_TABLE_ENTRY_POINT {
    UINT8 AnchorString[4];
    UINT8 EntryPointStructureChecksum;
    UINT8 EntryPointLength;
    UINT8 MajorVersion;
    UINT8 MinorVersion;
    UINT16 MaxStructureSize;
    UINT8 EntryPointRevision;
    UINT8 FormattedArea[5];
    UINT8 IntermediateAnchorString[5]; // "_DMI_"
    UINT8 IntermediateChecksum;
    UINT16 TableLength;
    UINT32 TableAddress;
    UINT16 NumberOfSmbiosStructures;
    UINT8 SmbiosBcdRevision;
};
static_assert(sizeof(SMBIOS_TABLE_ENTRY_POINT) == 31);

// The 64-bit entry point, anchored "_SM3_".
struct [[gnu::packed]] SMBIOS_TABLE_3_0_ENTRY_POINT {
    UINT8 AnchorString[5];
    UINT8 EntryPointStructureChecksum;
    UINT8 EntryPointLength;
    UINT8 MajorVersion;
    UINT8 MinorVersion;
    UINT8 DocRev;
    UINT8 EntryPointRevision;
    UINT8 Reserved;
    UINT32 TableMaximumSize;
    UINT64 TableAddress;
};
static_assert(sizeof(SMBIOS_TABLE_3_0_ENTRY_POINT) == 24);

struct EFI_SMBIOS_PROTOCOL {
    EFI_STATUS(EFIAPI* Add)
    (const EFI_SMBIOS_PROTOCOL* This, EFI_HANDLE ProducerHandle, EFI_SMBIOS_HANDLE* SmbiosHandle,
     EFI_SMBIOS_TABLE_HEADER* Record);
    EFI_STATUS(EFIAPI* UpdateString)
    (const EFI_SMBIOS_PROTOCOL* This, EFI_SMBIOS_HANDLE* SmbiosHandle, UINTN* StringNumber,
     CHAR8* String);
    EFI_STATUS(EFIAPI* Remove)(const EFI_SMBIOS_PROTOCOL* This, EFI_SMBIOS_HANDLE SmbiosHandle);
    // Records stay with the producer. A null Type gives every record.
    EFI_STATUS(EFIAPI* GetNext)
    (const EFI_SMBIOS_PROTOCOL* This, EFI_SMBIOS_HANDLE* SmbiosHandle, EFI_SMBIOS_TYPE* Type,
     EFI_SMBIOS_TABLE_HEADER** Record, EFI_HANDLE* ProducerHandle);
    UINT8 MajorVersion;
    UINT8 MinorVersion;
};
static_assert(sizeof(EFI_SMBIOS_PROTOCOL) == 40);

template <>
struct ProtocolGuid<EFI_SMBIOS_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSmbiosProtocolGuid;
};
