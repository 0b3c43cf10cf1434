// The security architectural protocols, which decide whether a file may be used: the older one by
// its authentication state, the newer one by its contents (PI 1.8, volume 2, section 12).
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

inline constexpr EFI_GUID gEfiSecurityArchProtocolGuid = {
    0xA46423E3, 0x4617, 0x49F1, {0xB9, 0xFF, 0xD1, 0xBF, 0xA9, 0x11, 0x58, 0x39}};
inline constexpr EFI_GUID gEfiSecurity2ArchProtocolGuid = {
    0x94AB2F58, 0x1438, 0x4EF1, {0x91, 0x52, 0x18, 0x94, 0x1A, 0x3A, 0x0E, 0x68}};

struct EFI_SECURITY_ARCH_PROTOCOL {
    EFI_STATUS(EFIAPI* FileAuthenticationState)
    (const EFI_SECURITY_ARCH_PROTOCOL* This, UINT32 AuthenticationStatus,
     const EFI_DEVICE_PATH_PROTOCOL* File);
};
static_assert(sizeof(EFI_SECURITY_ARCH_PROTOCOL) == 8);

struct EFI_SECURITY2_ARCH_PROTOCOL {
    // EFI_SECURITY_VIOLATION: put off, the file may be used once it is trusted. EFI_ACCESS_DENIED:
    // never.
    EFI_STATUS(EFIAPI* FileAuthentication)
    (const EFI_SECURITY2_ARCH_PROTOCOL* This, const EFI_DEVICE_PATH_PROTOCOL* File,
     void* FileBuffer, UINTN FileSize, BOOLEAN BootPolicy);
};
static_assert(sizeof(EFI_SECURITY2_ARCH_PROTOCOL) == 8);

template <>
struct ProtocolGuid<EFI_SECURITY_ARCH_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSecurityArchProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_SECURITY2_ARCH_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiSecurity2ArchProtocolGuid;
};
