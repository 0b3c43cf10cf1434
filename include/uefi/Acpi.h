// ACPI: the root pointer and the header of every description table (ACPI 6.5, sections 5.2.5 and
// 5.2.6). The configuration table GUIDs are in SystemTable.h.
#pragma once

#include "uefi/Base.h"

inline constexpr UINT64 EFI_ACPI_RSDP_SIGNATURE = 0x2052545020445352u; // "RSD PTR "

struct [[gnu::packed]] EFI_ACPI_ROOT_SYSTEM_DESCRIPTION_POINTER {
    UINT64 Signature;
    UINT8 Checksum; // over the first 20 bytes
    UINT8 OemId[6];
    UINT8 Revision;
    UINT32 RsdtAddress;
    UINT32 Length;
    UINT64 XsdtAddress;
    UINT8 ExtendedChecksum; // over the whole record
    UINT8 Reserved[3];
};
static_assert(sizeof(EFI_ACPI_ROOT_SYSTEM_DESCRIPTION_POINTER) == 36);

struct [[gnu::packed]] EFI_ACPI_DESCRIPTION_HEADER {
    UINT32 Signature;
    UINT32 Length; // of the table, header included
    UINT8 Revision;
    UINT8 Checksum; // makes all bytes of the table add up to zero
    UINT8 OemId[6];
    UINT8 OemTableId[8];
    UINT32 OemRevision;
    UINT32 CreatorId;
    UINT32 CreatorRevision;
};
static_assert(sizeof(EFI_ACPI_DESCRIPTION_HEADER) == 36);
