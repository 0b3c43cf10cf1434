// EFI_DEFERRED_IMAGE_LOAD_PROTOCOL: images whose load was put off until they may be trusted
// (UEFI 2.10, section 36.3).
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

inline constexpr EFI_GUID gEfiDeferredImageLoadProtocolGuid = {
    0x15853D7C, 0x3DDF, 0x43E0, {0xA1, 0xCB, 0xEB, 0xF8, 0x5B, 0x8F, 0x87, 0x2C}};

struct EFI_DEFERRED_IMAGE_LOAD_PROTOCOL {
    // ImageIndex counts from 0; EFI_NOT_FOUND past the last image. What is returned stays with the
    // producer; Image may be null and ImageSize 0.
    EFI_STATUS(EFIAPI* GetImageInfo)
    (EFI_DEFERRED_IMAGE_LOAD_PROTOCOL* This, UINTN ImageIndex,
     EFI_DEVICE_PATH_PROTOCOL** ImageDevicePath, void** Image, UINTN* ImageSize,
     BOOLEAN* BootOption);
};
static_assert(sizeof(EFI_DEFERRED_IMAGE_LOAD_PROTOCOL) == 8);

template <>
struct ProtocolGuid<EFI_DEFERRED_IMAGE_LOAD_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiDeferredImageLoadProtocolGuid;
};
