// The UEFI driver model: EFI_DRIVER_BINDING_PROTOCOL and EFI_COMPONENT_NAME2_PROTOCOL (UEFI 2.10,
// sections 11.1 and 11.5).
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

inline constexpr EFI_GUID gEfiDriverBindingProtocolGuid = {
    0x18A031AB, 0xB443, 0x4D1A, {0xA5, 0xC0, 0x0C, 0x09, 0x26, 0x1E, 0x9F, 0x71}};
inline constexpr EFI_GUID gEfiComponentName2ProtocolGuid = {
    0x6A7A5CFF, 0xE8D9, 0x4F70, {0xBA, 0xDA, 0x75, 0xAB, 0x30, 0x25, 0xCE, 0x14}};

struct EFI_DRIVER_BINDING_PROTOCOL {
    EFI_STATUS(EFIAPI* Supported)
    (EFI_DRIVER_BINDING_PROTOCOL* This, EFI_HANDLE ControllerHandle,
     EFI_DEVICE_PATH_PROTOCOL* RemainingDevicePath);
    EFI_STATUS(EFIAPI* Start)
    (EFI_DRIVER_BINDING_PROTOCOL* This, EFI_HANDLE ControllerHandle,
     EFI_DEVICE_PATH_PROTOCOL* RemainingDevicePath);
    EFI_STATUS(EFIAPI* Stop)
    (EFI_DRIVER_BINDING_PROTOCOL* This, EFI_HANDLE ControllerHandle, UINTN NumberOfChildren,
     EFI_HANDLE* ChildHandleBuffer);
    UINT32 Version; // the higher one is asked first
    EFI_HANDLE ImageHandle;
    EFI_HANDLE DriverBindingHandle;
};
static_assert(sizeof(EFI_DRIVER_BINDING_PROTOCOL) == 48);

// Names stay with the driver. Languages are RFC 4646 tags, lists separated by semicolons.
struct EFI_COMPONENT_NAME2_PROTOCOL {
    EFI_STATUS(EFIAPI* GetDriverName)
    (EFI_COMPONENT_NAME2_PROTOCOL* This, const CHAR8* Language, CHAR16** DriverName);
    EFI_STATUS(EFIAPI* GetControllerName)
    (EFI_COMPONENT_NAME2_PROTOCOL* This, EFI_HANDLE ControllerHandle, EFI_HANDLE ChildHandle,
     const CHAR8* Language, CHAR16** ControllerName);
    const CHAR8* SupportedLanguages;
};
static_assert(sizeof(EFI_COMPONENT_NAME2_PROTOCOL) == 24);

template <>
struct ProtocolGuid<EFI_DRIVER_BINDING_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiDriverBindingProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_COMPONENT_NAME2_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiComponentName2ProtocolGuid;
};
