// The EFI system table, its header and the configuration tables hung from it
// (UEFI 2.10, sections 4.2, 4.3 and 4.6; PI 1.8 volume 2 for the HOB list and DXE services tables).
#pragma once

#include "uefi/Base.h"

struct EFI_BOOT_SERVICES;
struct EFI_RUNTIME_SERVICES;
struct EFI_SIMPLE_TEXT_INPUT_PROTOCOL;
struct EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL;

inline constexpr UINT64 EFI_SYSTEM_TABLE_SIGNATURE = 0x5453595320494249u;     // "IBI SYST"
inline constexpr UINT64 EFI_BOOT_SERVICES_SIGNATURE = 0x56524553544F4F42u;    // "BOOTSERV"
inline constexpr UINT64 EFI_RUNTIME_SERVICES_SIGNATURE = 0x56524553544E5552u; // "RUNTSERV"
inline constexpr UINT64 DXE_SERVICES_SIGNATURE = 0x565245535F455844u;         // "DXE_SERV"

inline constexpr UINT32 EFI_2_100_SYSTEM_TABLE_REVISION = (2u << 16) | 100u;
inline constexpr UINT32 EFI_2_90_SYSTEM_TABLE_REVISION = (2u << 16) | 90u;
inline constexpr UINT32 EFI_2_80_SYSTEM_TABLE_REVISION = (2u << 16) | 80u;
inline constexpr UINT32 EFI_2_70_SYSTEM_TABLE_REVISION = (2u << 16) | 70u;
inline constexpr UINT32 EFI_SYSTEM_TABLE_REVISION = EFI_2_100_SYSTEM_TABLE_REVISION;
inline constexpr UINT32 EFI_BOOT_SERVICES_REVISION = EFI_SYSTEM_TABLE_REVISION;
inline constexpr UINT32 EFI_RUNTIME_SERVICES_REVISION = EFI_SYSTEM_TABLE_REVISION;

struct EFI_TABLE_HEADER {
    UINT64 Signature;
    UINT32 Revision;
    UINT32 HeaderSize; // of the whole table, header included
    UINT32 CRC32;      // over HeaderSize bytes, with this field taken as zero
    UINT32 Reserved;
};
static_assert(sizeof(EFI_TABLE_HEADER) == 24);

struct EFI_CONFIGURATION_TABLE {
    EFI_GUID VendorGuid;
    void* VendorTable;
};
static_assert(sizeof(EFI_CONFIGURATION_TABLE) == 24);

struct EFI_SYSTEM_TABLE {
    EFI_TABLE_HEADER Hdr;
    CHAR16* FirmwareVendor;
    UINT32 FirmwareRevision;
    EFI_HANDLE ConsoleInHandle;
    EFI_SIMPLE_TEXT_INPUT_PROTOCOL* ConIn;
    EFI_HANDLE ConsoleOutHandle;
    EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* ConOut;
    EFI_HANDLE StandardErrorHandle;
    EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* StdErr;
    EFI_RUNTIME_SERVICES* RuntimeServices;
    EFI_BOOT_SERVICES* BootServices;
    UINTN NumberOfTableEntries;
    EFI_CONFIGURATION_TABLE* ConfigurationTable;
};
static_assert(sizeof(EFI_SYSTEM_TABLE) == 120);
static_assert(offsetof(EFI_SYSTEM_TABLE, ConsoleInHandle) == 40);
static_assert(offsetof(EFI_SYSTEM_TABLE, BootServices) == 96);

// The entry point of every UEFI image.
using EFI_IMAGE_ENTRY_POINT = EFI_STATUS(EFIAPI*)(EFI_HANDLE ImageHandle,
                                                  EFI_SYSTEM_TABLE* SystemTable);

inline constexpr EFI_GUID gEfiHobListGuid = {
    0x7739F24C, 0x93D7, 0x11D4, {0x9A, 0x3A, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
inline constexpr EFI_GUID gEfiDxeServicesTableGuid = {
    0x05AD34BA, 0x6F02, 0x4214, {0x95, 0x2E, 0x4D, 0xA0, 0x39, 0x8E, 0x2B, 0xB9}};
inline constexpr EFI_GUID gEfiDebugImageInfoTableGuid = {
    0x49152E77, 0x1ADA, 0x4764, {0xB7, 0xA2, 0x7A, 0xFE, 0xFE, 0xD9, 0x5E, 0x8B}};
inline constexpr EFI_GUID gEfiAcpi10TableGuid = {
    0xEB9D2D30, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
inline constexpr EFI_GUID gEfiAcpi20TableGuid = {
    0x8868E871, 0xE4F1, 0x11D3, {0xBC, 0x22, 0x00, 0x80, 0xC7, 0x3C, 0x88, 0x81}};
inline constexpr EFI_GUID gEfiSmbiosTableGuid = {
    0xEB9D2D31, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
inline constexpr EFI_GUID gEfiSmbios3TableGuid = {
    0xF2FD1544, 0x9794, 0x4A2C, {0x99, 0x2E, 0xE5, 0xBB, 0xCF, 0x20, 0xE3, 0x94}};
inline constexpr EFI_GUID gEfiSystemResourceTableGuid = {
    0xB122A263, 0x3661, 0x4F68, {0x99, 0x29, 0x78, 0xF8, 0xB0, 0xD6, 0x21, 0x80}};
inline constexpr EFI_GUID gEfiMpsTableGuid = {
    0xEB9D2D2F, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
inline constexpr EFI_GUID gEfiDtbTableGuid = {
    0xB1B621D5, 0xF19C, 0x41A5, {0x83, 0x0B, 0xD9, 0x15, 0x2C, 0x69, 0xAA, 0xE0}};
inline constexpr EFI_GUID gEfiMemoryAttributesTableGuid = {
    0xDCFA911D, 0x26EB, 0x469F, {0xA2, 0x20, 0x38, 0xB7, 0xDC, 0x46, 0x12, 0x20}};
inline constexpr EFI_GUID gEfiRtPropertiesTableGuid = {
    0xEB66918A, 0x7EEF, 0x402A, {0x84, 0x2E, 0x93, 0x1D, 0x21, 0xC3, 0x8A, 0xE9}};
inline constexpr EFI_GUID gEfiConformanceProfilesTableGuid = {
    0x36122546, 0xF7E7, 0x4C8F, {0xBD, 0x9B, 0xEB, 0x85, 0x25, 0xB5, 0x0C, 0x0B}};

inline constexpr UINT64 EFI_SYSTEM_RESOURCE_TABLE_FIRMWARE_RESOURCE_VERSION = 1;

struct EFI_SYSTEM_RESOURCE_TABLE {
    UINT32 FwResourceCount;
    UINT32 FwResourceCountMax;
    UINT64 FwResourceVersion;
    // EFI_SYSTEM_RESOURCE_ENTRY Entries[FwResourceCount]
};
static_assert(sizeof(EFI_SYSTEM_RESOURCE_TABLE) == 16);

struct EFI_SYSTEM_RESOURCE_ENTRY {
    EFI_GUID FwClass;
    UINT32 FwType;
    UINT32 FwVersion;
    UINT32 LowestSupportedFwVersion;
    UINT32 CapsuleFlags;
    UINT32 LastAttemptVersion;
    UINT32 LastAttemptStatus;
};
static_assert(sizeof(EFI_SYSTEM_RESOURCE_ENTRY) == 40);
