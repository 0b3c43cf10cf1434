// EFI_LEGACY_BIOS_PROTOCOL and the tables it reports: the BIOS boot specification table and hard
// disk information (Compatibility Support Module Specification 0.98).
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

inline constexpr EFI_GUID gEfiLegacyBiosProtocolGuid = {
    0xDB9A1E3D, 0x45CB, 0x4ABB, {0x85, 0x3B, 0xE5, 0x38, 0x7F, 0xDB, 0x2E, 0x2D}};

// BBS_TABLE::BootPriority values with a meaning of their own; others are positions, 0 first.
inline constexpr UINT16 BBS_DO_NOT_BOOT_FROM = 0xFFFC;
inline constexpr UINT16 BBS_LOWEST_PRIORITY = 0xFFFD;
inline constexpr UINT16 BBS_UNPRIORITIZED_ENTRY = 0xFFFE;
inline constexpr UINT16 BBS_IGNORE_ENTRY = 0xFFFF;

// BBS_TABLE::StatusFlags.
inline constexpr UINT16 BBS_STATUS_OLD_POSITION = 0x000F;
inline constexpr UINT16 BBS_STATUS_ENABLED = 0x0100;
inline constexpr UINT16 BBS_STATUS_FAILED = 0x0200;
inline constexpr UINT16 BBS_STATUS_MEDIA_PRESENT = 0x0C00; // 0 none, 1 unknown, 2 present

struct [[gnu::packed]] BBS_TABLE {
    UINT16 BootPriority;
    UINT32 Bus;
    UINT32 Device;
    UINT32 Function;
    UINT8 Class;
    UINT8 SubClass;
    UINT16 MfgStringOffset;
    UINT16 MfgStringSegment;
    UINT16 DeviceType; // BBS_TYPE_*, DevicePath.h
    UINT16 StatusFlags;
    UINT16 BootHandlerOffset;
    UINT16 BootHandlerSegment;
    UINT16 DescStringOffset;
    UINT16 DescStringSegment;
    UINT32 InitPerReserved;
    UINT32 AdditionalIrq13Handler;
    UINT32 AdditionalIrq18Handler;
    UINT32 AdditionalIrq19Handler;
    UINT32 AdditionalIrq40Handler;
    UINT8 AssignedDriveNumber;
    UINT32 AdditionalIrq41Handler;
    UINT32 AdditionalIrq46Handler;
    UINT32 IBV1;
    UINT32 IBV2;
};
static_assert(sizeof(BBS_TABLE) == 69);
static_assert(offsetof(BBS_TABLE, StatusFlags) == 22);
static_assert(offsetof(BBS_TABLE, AssignedDriveNumber) == 52);
static_assert(offsetof(BBS_TABLE, IBV1) == 61 && offsetof(BBS_TABLE, IBV2) == 65);

// ATA or ATAPI identify data of one drive, 256 words.
struct [[gnu::packed]] ATAPI_IDENTIFY {
    UINT16 Raw[256];
};
static_assert(sizeof(ATAPI_IDENTIFY) == 512);

// One IDE controller channel with its two drives.
struct [[gnu::packed]] HDD_INFO {
    UINT16 Status;
    UINT32 Bus;
    UINT32 Device;
    UINT32 Function;
    UINT16 CommandBaseAddress;
    UINT16 ControlBaseAddress;
    UINT16 BusMasterAddress;
    UINT8 HddIrq;
    ATAPI_IDENTIFY IdentifyDrive[2];
};
static_assert(sizeof(HDD_INFO) == 1045);

struct EFI_DWORD_REGS {
    UINT32 EAX;
    UINT32 EBX;
    UINT32 ECX;
    UINT32 EDX;
    UINT32 ESI;
    UINT32 EDI;
    UINT32 EFlags;
    UINT16 ES;
    UINT16 CS;
    UINT16 SS;
    UINT16 DS;
    UINT16 FS;
    UINT16 GS;
    UINT32 EBP;
    UINT32 ESP;
};
static_assert(sizeof(EFI_DWORD_REGS) == 48);

struct EFI_WORD_REGS {
    UINT16 AX;
    UINT16 ReservedAX;
    UINT16 BX;
    UINT16 ReservedBX;
    UINT16 CX;
    UINT16 ReservedCX;
    UINT16 DX;
    UINT16 ReservedDX;
    UINT16 SI;
    UINT16 ReservedSI;
    UINT16 DI;
    UINT16 ReservedDI;
    UINT16 Flags;
    UINT16 ReservedFlags;
    UINT16 ES;
    UINT16 CS;
    UINT16 SS;
    UINT16 DS;
    UINT16 FS;
    UINT16 GS;
    UINT16 BP;
    UINT16 ReservedBP;
    UINT16 SP;
    UINT16 ReservedSP;
};
static_assert(sizeof(EFI_WORD_REGS) == 48);

struct EFI_BYTE_REGS {
    UINT8 AL, AH;
    UINT16 ReservedAX;
    UINT8 BL, BH;
    UINT16 ReservedBX;
    UINT8 CL, CH;
    UINT16 ReservedCX;
    UINT8 DL, DH;
    UINT16 ReservedDX;
};
static_assert(sizeof(EFI_BYTE_REGS) == 16);

union EFI_IA32_REGISTER_SET {
    EFI_DWORD_REGS E;
    EFI_WORD_REGS X;
    EFI_BYTE_REGS H;
};
static_assert(sizeof(EFI_IA32_REGISTER_SET) == 48);

// BootUnconventionalDevice(): bit 0 DirectoryServiceValidity, bit 1 RabcaUsedFlag, bit 2
// ExecuteHddDiagnosticsFlag.
using UDC_ATTRIBUTES = UINT8;

struct EFI_LEGACY_BIOS_PROTOCOL {
    // TRUE when the interrupt returned with carry set.
    BOOLEAN(EFIAPI* Int86)
    (EFI_LEGACY_BIOS_PROTOCOL* This, UINT8 BiosInt, EFI_IA32_REGISTER_SET* Regs);
    BOOLEAN(EFIAPI* FarCall86)
    (EFI_LEGACY_BIOS_PROTOCOL* This, UINT16 Segment, UINT16 Offset, EFI_IA32_REGISTER_SET* Regs,
     void* Stack, UINTN StackSize);
    EFI_STATUS(EFIAPI* CheckPciRom)
    (EFI_LEGACY_BIOS_PROTOCOL* This, EFI_HANDLE PciHandle, void** RomImage, UINTN* RomSize,
     UINTN* Flags);
    EFI_STATUS(EFIAPI* InstallPciRom)
    (EFI_LEGACY_BIOS_PROTOCOL* This, EFI_HANDLE PciHandle, void** RomImage, UINTN* Flags,
     UINT8* DiskStart, UINT8* DiskEnd, void** RomShadowAddress, UINT32* ShadowedRomSize);
    EFI_STATUS(EFIAPI* LegacyBoot)
    (EFI_LEGACY_BIOS_PROTOCOL* This, BBS_BBS_DEVICE_PATH* BootOption, UINT32 LoadOptionsSize,
     void* LoadOptions);
    EFI_STATUS(EFIAPI* UpdateKeyboardLedStatus)(EFI_LEGACY_BIOS_PROTOCOL* This, UINT8 Leds);
    // The tables stay with the producer.
    EFI_STATUS(EFIAPI* GetBbsInfo)
    (EFI_LEGACY_BIOS_PROTOCOL* This, UINT16* HddCount, HDD_INFO** HddInfo, UINT16* BbsCount,
     BBS_TABLE** BbsTable);
    EFI_STATUS(EFIAPI* ShadowAllLegacyOproms)(EFI_LEGACY_BIOS_PROTOCOL* This);
    EFI_STATUS(EFIAPI* PrepareToBootEfi)
    (EFI_LEGACY_BIOS_PROTOCOL* This, UINT16* BbsCount, BBS_TABLE** BbsTable);
    EFI_STATUS(EFIAPI* GetLegacyRegion)
    (EFI_LEGACY_BIOS_PROTOCOL* This, UINTN LegacyMemorySize, UINTN Region, UINTN Alignment,
     void** LegacyMemoryAddress);
    EFI_STATUS(EFIAPI* CopyLegacyRegion)
    (EFI_LEGACY_BIOS_PROTOCOL* This, UINTN LegacyMemorySize, void* LegacyMemoryAddress,
     void* LegacyMemorySourceAddress);
    EFI_STATUS(EFIAPI* BootUnconventionalDevice)
    (EFI_LEGACY_BIOS_PROTOCOL* This, UDC_ATTRIBUTES Attributes, UINTN BbsEntry, void* BeerData,
     void* ServiceAreaData);
};
static_assert(sizeof(EFI_LEGACY_BIOS_PROTOCOL) == 96);

template <>
struct ProtocolGuid<EFI_LEGACY_BIOS_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiLegacyBiosProtocolGuid;
};
