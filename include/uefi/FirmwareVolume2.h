// EFI_FIRMWARE_VOLUME2_PROTOCOL: files of a firmware volume by name and type (PI 1.8, volume 3,
// section 3.4).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiFirmwareVolume2ProtocolGuid = {
    0x220E73B6, 0x6BDB, 0x4413, {0x84, 0x05, 0xB9, 0x74, 0xB1, 0x08, 0x61, 0x9A}};

using EFI_FV_ATTRIBUTES = UINT64;
using EFI_FV_FILE_ATTRIBUTES = UINT32;
using EFI_FV_FILETYPE = UINT8;
using EFI_SECTION_TYPE = UINT8;

// File types.
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_ALL = 0x00;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_RAW = 0x01;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_FREEFORM = 0x02;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_SECURITY_CORE = 0x03;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_PEI_CORE = 0x04;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_DXE_CORE = 0x05;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_PEIM = 0x06;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_DRIVER = 0x07;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_COMBINED_PEIM_DRIVER = 0x08;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_APPLICATION = 0x09;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_MM = 0x0A;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_FIRMWARE_VOLUME_IMAGE = 0x0B;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_COMBINED_MM_DXE = 0x0C;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_MM_CORE = 0x0D;
inline constexpr EFI_FV_FILETYPE EFI_FV_FILETYPE_FFS_PAD = 0xF0;

// Section types.
inline constexpr EFI_SECTION_TYPE EFI_SECTION_ALL = 0x00;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_COMPRESSION = 0x01;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_GUID_DEFINED = 0x02;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_DISPOSABLE = 0x03;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_PE32 = 0x10;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_PIC = 0x11;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_TE = 0x12;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_DXE_DEPEX = 0x13;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_VERSION = 0x14;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_USER_INTERFACE = 0x15;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_COMPATIBILITY16 = 0x16;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_FIRMWARE_VOLUME_IMAGE = 0x17;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_FREEFORM_SUBTYPE_GUID = 0x18;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_RAW = 0x19;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_PEI_DEPEX = 0x1B;
inline constexpr EFI_SECTION_TYPE EFI_SECTION_MM_DEPEX = 0x1C;

using EFI_FV_WRITE_POLICY = UINT32;
inline constexpr EFI_FV_WRITE_POLICY EFI_FV_UNRELIABLE_WRITE = 0;
inline constexpr EFI_FV_WRITE_POLICY EFI_FV_RELIABLE_WRITE = 1;

struct EFI_FV_WRITE_FILE_DATA {
    EFI_GUID* NameGuid;
    EFI_FV_FILETYPE Type;
    EFI_FV_FILE_ATTRIBUTES FileAttributes;
    void* Buffer;
    UINT32 BufferSize;
};
static_assert(sizeof(EFI_FV_WRITE_FILE_DATA) == 32);

struct EFI_FIRMWARE_VOLUME2_PROTOCOL {
    EFI_STATUS(EFIAPI* GetVolumeAttributes)
    (const EFI_FIRMWARE_VOLUME2_PROTOCOL* This, EFI_FV_ATTRIBUTES* FvAttributes);
    EFI_STATUS(EFIAPI* SetVolumeAttributes)
    (const EFI_FIRMWARE_VOLUME2_PROTOCOL* This, EFI_FV_ATTRIBUTES* FvAttributes);
    // A null Buffer asks for type and size only; *Buffer null makes the service allocate it from
    // pool, for the caller to free.
    EFI_STATUS(EFIAPI* ReadFile)
    (const EFI_FIRMWARE_VOLUME2_PROTOCOL* This, const EFI_GUID* NameGuid, void** Buffer,
     UINTN* BufferSize, EFI_FV_FILETYPE* FoundType, EFI_FV_FILE_ATTRIBUTES* FileAttributes,
     UINT32* AuthenticationStatus);
    EFI_STATUS(EFIAPI* ReadSection)
    (const EFI_FIRMWARE_VOLUME2_PROTOCOL* This, const EFI_GUID* NameGuid,
     EFI_SECTION_TYPE SectionType, UINTN SectionInstance, void** Buffer, UINTN* BufferSize,
     UINT32* AuthenticationStatus);
    EFI_STATUS(EFIAPI* WriteFile)
    (const EFI_FIRMWARE_VOLUME2_PROTOCOL* This, UINT32 NumberOfFiles,
     EFI_FV_WRITE_POLICY WritePolicy, EFI_FV_WRITE_FILE_DATA* FileData);
    // Key: a zeroed buffer of KeySize bytes for the first call, passed on unchanged.
    EFI_STATUS(EFIAPI* GetNextFile)
    (const EFI_FIRMWARE_VOLUME2_PROTOCOL* This, void* Key, EFI_FV_FILETYPE* FileType,
     EFI_GUID* NameGuid, EFI_FV_FILE_ATTRIBUTES* Attributes, UINTN* Size);
    UINT32 KeySize;
    EFI_HANDLE ParentHandle;
    EFI_STATUS(EFIAPI* GetInfo)
    (const EFI_FIRMWARE_VOLUME2_PROTOCOL* This, const EFI_GUID* InformationType, UINTN* BufferSize,
     void* Buffer);
    EFI_STATUS(EFIAPI* SetInfo)
    (const EFI_FIRMWARE_VOLUME2_PROTOCOL* This, const EFI_GUID* InformationType, UINTN BufferSize,
     const void* Buffer);
};
static_assert(sizeof(EFI_FIRMWARE_VOLUME2_PROTOCOL) == 80);

template <>
struct ProtocolGuid<EFI_FIRMWARE_VOLUME2_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiFirmwareVolume2ProtocolGuid;
};
