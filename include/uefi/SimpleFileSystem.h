// EFI_SIMPLE_FILE_SYSTEM_PROTOCOL, EFI_FILE_PROTOCOL and the records that GetInfo() returns
// (UEFI 2.10, sections 13.4 and 13.5).
#pragma once

#include "uefi/Base.h"
#include "uefi/RuntimeServices.h"

inline constexpr EFI_GUID gEfiSimpleFileSystemProtocolGuid = {
    0x964E5B22, 0x6459, 0x11D2, {0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
inline constexpr EFI_GUID gEfiFileInfoGuid = {
    0x09576E92, 0x6D3F, 0x11D2, {0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
inline constexpr EFI_GUID gEfiFileSystemInfoGuid = {
    0x09576E93, 0x6D3F, 0x11D2, {0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
inline constexpr EFI_GUID gEfiFileSystemVolumeLabelInfoIdGuid = {
    0xDB47D7D3, 0xFE81, 0x11D3, {0x9A, 0x35, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

inline constexpr UINT64 EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_REVISION = 0x00010000;
inline constexpr UINT64 EFI_FILE_PROTOCOL_REVISION = 0x00010000;
inline constexpr UINT64 EFI_FILE_PROTOCOL_REVISION2 = 0x00020000;

// The loader that removable media boot without a load option, on x86-64 (UEFI 2.10, 3.5.1.1).
inline constexpr CHAR16 EFI_REMOVABLE_MEDIA_FILE_NAME_X64[] = u"\\EFI\\BOOT\\BOOTX64.EFI";

// Open modes.
inline constexpr UINT64 EFI_FILE_MODE_READ = 0x0000000000000001u;
inline constexpr UINT64 EFI_FILE_MODE_WRITE = 0x0000000000000002u;
inline constexpr UINT64 EFI_FILE_MODE_CREATE = 0x8000000000000000u;

// File attributes.
inline constexpr UINT64 EFI_FILE_READ_ONLY = 0x0000000000000001u;
inline constexpr UINT64 EFI_FILE_HIDDEN = 0x0000000000000002u;
inline constexpr UINT64 EFI_FILE_SYSTEM = 0x0000000000000004u;
inline constexpr UINT64 EFI_FILE_RESERVED = 0x0000000000000008u;
inline constexpr UINT64 EFI_FILE_DIRECTORY = 0x0000000000000010u;
inline constexpr UINT64 EFI_FILE_ARCHIVE = 0x0000000000000020u;
inline constexpr UINT64 EFI_FILE_VALID_ATTR = 0x0000000000000037u;

struct EFI_FILE_IO_TOKEN {
    EFI_EVENT Event;
    EFI_STATUS Status;
    UINTN BufferSize;
    void* Buffer;
};
static_assert(sizeof(EFI_FILE_IO_TOKEN) == 32);

struct EFI_FILE_PROTOCOL {
    UINT64 Revision;
    EFI_STATUS(EFIAPI* Open)
    (EFI_FILE_PROTOCOL* This, EFI_FILE_PROTOCOL** NewHandle, const CHAR16* FileName,
     UINT64 OpenMode, UINT64 Attributes);
    EFI_STATUS(EFIAPI* Close)(EFI_FILE_PROTOCOL* This);
    EFI_STATUS(EFIAPI* Delete)(EFI_FILE_PROTOCOL* This); // closes the file as well
    EFI_STATUS(EFIAPI* Read)(EFI_FILE_PROTOCOL* This, UINTN* BufferSize, void* Buffer);
    EFI_STATUS(EFIAPI* Write)(EFI_FILE_PROTOCOL* This, UINTN* BufferSize, const void* Buffer);
    EFI_STATUS(EFIAPI* GetPosition)(EFI_FILE_PROTOCOL* This, UINT64* Position);
    EFI_STATUS(EFIAPI* SetPosition)(EFI_FILE_PROTOCOL* This, UINT64 Position);
    EFI_STATUS(EFIAPI* GetInfo)
    (EFI_FILE_PROTOCOL* This, const EFI_GUID* InformationType, UINTN* BufferSize, void* Buffer);
    EFI_STATUS(EFIAPI* SetInfo)
    (EFI_FILE_PROTOCOL* This, const EFI_GUID* InformationType, UINTN BufferSize,
     const void* Buffer);
    EFI_STATUS(EFIAPI* Flush)(EFI_FILE_PROTOCOL* This);
    // From revision 2.
    EFI_STATUS(EFIAPI* OpenEx)
    (EFI_FILE_PROTOCOL* This, EFI_FILE_PROTOCOL** NewHandle, const CHAR16* FileName,
     UINT64 OpenMode, UINT64 Attributes, EFI_FILE_IO_TOKEN* Token);
    EFI_STATUS(EFIAPI* ReadEx)(EFI_FILE_PROTOCOL* This, EFI_FILE_IO_TOKEN* Token);
    EFI_STATUS(EFIAPI* WriteEx)(EFI_FILE_PROTOCOL* This, EFI_FILE_IO_TOKEN* Token);
    EFI_STATUS(EFIAPI* FlushEx)(EFI_FILE_PROTOCOL* This, EFI_FILE_IO_TOKEN* Token);
};
static_assert(sizeof(EFI_FILE_PROTOCOL) == 120);

struct EFI_SIMPLE_FILE_SYSTEM_PROTOCOL {
    UINT64 Revision;
    EFI_STATUS(EFIAPI* OpenVolume)(EFI_SIMPLE_FILE_SYSTEM_PROTOCOL* This, EFI_FILE_PROTOCOL** Root);
};
static_assert(sizeof(EFI_SIMPLE_FILE_SYSTEM_PROTOCOL) == 16);

// Followed by the file name, CHAR16, null-terminated.
struct EFI_FILE_INFO {
    UINT64 Size; // of the record, name included
    UINT64 FileSize;
    UINT64 PhysicalSize;
    EFI_TIME CreateTime;
    EFI_TIME LastAccessTime;
    EFI_TIME ModificationTime;
    UINT64 Attribute;
};
static_assert(sizeof(EFI_FILE_INFO) == 80);

// Followed, at kFileSystemInfoLabelOffset, by the volume label, CHAR16, null-terminated.
struct EFI_FILE_SYSTEM_INFO {
    UINT64 Size; // of the record, label included
    BOOLEAN ReadOnly;
    UINT64 VolumeSize;
    UINT64 FreeSpace;
    UINT32 BlockSize;
};
static_assert(offsetof(EFI_FILE_SYSTEM_INFO, BlockSize) == 32);
inline constexpr UINTN kFileSystemInfoLabelOffset = 36;

template <>
struct ProtocolGuid<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSimpleFileSystemProtocolGuid;
};
