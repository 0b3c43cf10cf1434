// EFI_HII_DATABASE_PROTOCOL: registering and exporting package lists (UEFI 2.10, section 34.8).
#pragma once

#include "uefi/Base.h"
#include "uefi/HiiPackage.h"

inline constexpr EFI_GUID gEfiHiiDatabaseProtocolGuid = {
    0xEF9FC172, 0xA1B2, 0x4693, {0xB3, 0x27, 0x6D, 0x32, 0xFC, 0x41, 0x60, 0x42}};
// On an image's handle: the package list linked into the image as a resource.
inline constexpr EFI_GUID gEfiHiiPackageListProtocolGuid = {
    0x6A1EE763, 0xD47A, 0x43B4, {0xAA, 0xBE, 0xEF, 0x1D, 0xE2, 0xAB, 0x56, 0xFC}};

using EFI_HII_DATABASE_NOTIFY_TYPE = UINTN;
inline constexpr EFI_HII_DATABASE_NOTIFY_TYPE EFI_HII_DATABASE_NOTIFY_NEW_PACK = 0x00000001;
inline constexpr EFI_HII_DATABASE_NOTIFY_TYPE EFI_HII_DATABASE_NOTIFY_REMOVE_PACK = 0x00000002;
inline constexpr EFI_HII_DATABASE_NOTIFY_TYPE EFI_HII_DATABASE_NOTIFY_EXPORT_PACK = 0x00000004;
inline constexpr EFI_HII_DATABASE_NOTIFY_TYPE EFI_HII_DATABASE_NOTIFY_ADD_PACK = 0x00000008;

using EFI_HII_DATABASE_NOTIFY = EFI_STATUS(EFIAPI*)(UINT8 PackageType, const EFI_GUID* PackageGuid,
                                                    const EFI_HII_PACKAGE_HEADER* Package,
                                                    EFI_HII_HANDLE Handle,
                                                    EFI_HII_DATABASE_NOTIFY_TYPE NotifyType);

struct EFI_HII_KEYBOARD_LAYOUT;

struct EFI_HII_DATABASE_PROTOCOL {
    EFI_STATUS(EFIAPI* NewPackageList)
    (const EFI_HII_DATABASE_PROTOCOL* This, const EFI_HII_PACKAGE_LIST_HEADER* PackageList,
     EFI_HANDLE DriverHandle, EFI_HII_HANDLE* Handle);
    EFI_STATUS(EFIAPI* RemovePackageList)
    (const EFI_HII_DATABASE_PROTOCOL* This, EFI_HII_HANDLE Handle);
    EFI_STATUS(EFIAPI* UpdatePackageList)
    (const EFI_HII_DATABASE_PROTOCOL* This, EFI_HII_HANDLE Handle,
     const EFI_HII_PACKAGE_LIST_HEADER* PackageList);
    EFI_STATUS(EFIAPI* ListPackageLists)
    (const EFI_HII_DATABASE_PROTOCOL* This, UINT8 PackageType, const EFI_GUID* PackageGuid,
     UINTN* HandleBufferLength, EFI_HII_HANDLE* Handle);
    EFI_STATUS(EFIAPI* ExportPackageLists)
    (const EFI_HII_DATABASE_PROTOCOL* This, EFI_HII_HANDLE Handle, UINTN* BufferSize,
     EFI_HII_PACKAGE_LIST_HEADER* Buffer);
    EFI_STATUS(EFIAPI* RegisterPackageNotify)
    (const EFI_HII_DATABASE_PROTOCOL* This, UINT8 PackageType, const EFI_GUID* PackageGuid,
     EFI_HII_DATABASE_NOTIFY PackageNotifyFn, EFI_HII_DATABASE_NOTIFY_TYPE NotifyType,
     EFI_HANDLE* NotifyHandle);
    EFI_STATUS(EFIAPI* UnregisterPackageNotify)
    (const EFI_HII_DATABASE_PROTOCOL* This, EFI_HANDLE NotificationHandle);
    EFI_STATUS(EFIAPI* FindKeyboardLayouts)
    (const EFI_HII_DATABASE_PROTOCOL* This, UINT16* KeyGuidBufferLength, EFI_GUID* KeyGuidBuffer);
    EFI_STATUS(EFIAPI* GetKeyboardLayout)
    (const EFI_HII_DATABASE_PROTOCOL* This, const EFI_GUID* KeyGuid, UINT16* KeyboardLayoutLength,
     EFI_HII_KEYBOARD_LAYOUT* KeyboardLayout);
    EFI_STATUS(EFIAPI* SetKeyboardLayout)
    (const EFI_HII_DATABASE_PROTOCOL* This, const EFI_GUID* KeyGuid);
    EFI_STATUS(EFIAPI* GetPackageListHandle)
    (const EFI_HII_DATABASE_PROTOCOL* This, EFI_HII_HANDLE PackageListHandle,
     EFI_HANDLE* DriverHandle);
};
static_assert(sizeof(EFI_HII_DATABASE_PROTOCOL) == 88);

template <>
struct ProtocolGuid<EFI_HII_DATABASE_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiHiiDatabaseProtocolGuid;
};
