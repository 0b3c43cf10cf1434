// EFI_LOADED_IMAGE_PROTOCOL and the loaded image's device path (UEFI 2.10, section 9).
#pragma once

#include "uefi/Base.h"
#include "uefi/BootServices.h"
#include "uefi/SystemTable.h"

inline constexpr EFI_GUID gEfiLoadedImageProtocolGuid = {
    0x5B1B31A1, 0x9562, 0x11D2, {0x8E, 0x3F, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}};
// The interface is an EFI_DEVICE_PATH_PROTOCOL; null for an image loaded from memory without one.
inline constexpr EFI_GUID gEfiLoadedImageDevicePathProtocolGuid = {
    0xBC62157E, 0x3E33, 0x4FEC, {0x99, 0x20, 0x2D, 0x3B, 0x36, 0xD7, 0x50, 0xDF}};

inline constexpr UINT32 EFI_LOADED_IMAGE_PROTOCOL_REVISION = 0x1000;

struct EFI_LOADED_IMAGE_PROTOCOL {
    UINT32 Revision;
    EFI_HANDLE ParentHandle;
    EFI_SYSTEM_TABLE* SystemTable;

    // Where the image came from.
    EFI_HANDLE DeviceHandle;
    EFI_DEVICE_PATH_PROTOCOL* FilePath;
    void* Reserved;

    // Owned by the loader of the image.
    UINT32 LoadOptionsSize; // in bytes
    void* LoadOptions;

    // Where it lies.
    void* ImageBase;
    UINT64 ImageSize; // in bytes
    EFI_MEMORY_TYPE ImageCodeType;
    EFI_MEMORY_TYPE ImageDataType;
    EFI_STATUS(EFIAPI* Unload)(EFI_HANDLE ImageHandle);
};
static_assert(sizeof(EFI_LOADED_IMAGE_PROTOCOL) == 96);

template <>
struct ProtocolGuid<EFI_LOADED_IMAGE_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiLoadedImageProtocolGuid;
};
