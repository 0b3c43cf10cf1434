// EFI_LOAD_FILE_PROTOCOL and EFI_LOAD_FILE2_PROTOCOL: files from devices that are no file system,
// such as network boot (UEFI 2.10, sections 13.1 and 13.2).
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

inline constexpr EFI_GUID gEfiLoadFileProtocolGuid = {
    0x56EC3091, 0x954C, 0x11D2, {0x8E, 0x3F, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
inline constexpr EFI_GUID gEfiLoadFile2ProtocolGuid = {
    0x4006C0C1, 0xFCB3, 0x403E, {0x99, 0x6D, 0x4A, 0x6C, 0x87, 0x24, 0xE0, 0x6D}};

struct EFI_LOAD_FILE_PROTOCOL {
    // EFI_BUFFER_TOO_SMALL sets BufferSize to what is needed. EFI_WARN_FILE_SYSTEM: the buffer
    // holds a RAM disk image.
    EFI_STATUS(EFIAPI* LoadFile)
    (EFI_LOAD_FILE_PROTOCOL* This, EFI_DEVICE_PATH_PROTOCOL* FilePath, BOOLEAN BootPolicy,
     UINTN* BufferSize, void* Buffer);
};
static_assert(sizeof(EFI_LOAD_FILE_PROTOCOL) == 8);

struct EFI_LOAD_FILE2_PROTOCOL {
    // BootPolicy is always FALSE.
    EFI_STATUS(EFIAPI* LoadFile)
    (EFI_LOAD_FILE2_PROTOCOL* This, EFI_DEVICE_PATH_PROTOCOL* FilePath, BOOLEAN BootPolicy,
     UINTN* BufferSize, void* Buffer);
};
static_assert(sizeof(EFI_LOAD_FILE2_PROTOCOL) == 8);

template <>
struct ProtocolGuid<EFI_LOAD_FILE_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiLoadFileProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_LOAD_FILE2_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiLoadFile2ProtocolGuid;
};
