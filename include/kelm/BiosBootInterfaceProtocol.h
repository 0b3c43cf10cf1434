// Boots a device path that a tool left for this boot, by the rules of the tool that left it.
#pragma once

#include "uefi/Base.h"

struct EFI_DEVICE_PATH_PROTOCOL;

// {B0F844DF-4381-E04D-5EB6-9484AD86A7A9}
inline constexpr EFI_GUID gKelmBiosBootInterfaceProtocolGuid = {
    0xB0F844DF, 0x4381, 0xE04D, {0x5E, 0xB6, 0x94, 0x84, 0xAD, 0x86, 0xA7, 0xA9}};

struct KelmBiosBootInterfaceProtocol {
    void* Reserved0;
    // Boots the path in BIOS boot mode. The path stays the caller's.
    EFI_STATUS(EFIAPI* BootLegacy)
    (KelmBiosBootInterfaceProtocol* This, EFI_DEVICE_PATH_PROTOCOL* path);
    void* Reserved2;
    // Boots the path in UEFI boot mode.
    EFI_STATUS(EFIAPI* BootUefi)
    (KelmBiosBootInterfaceProtocol* This, EFI_DEVICE_PATH_PROTOCOL* path);
};
static_assert(sizeof(KelmBiosBootInterfaceProtocol) == 4 * sizeof(void*));

template <>
struct ProtocolGuid<KelmBiosBootInterfaceProtocol> {
    static constexpr const EFI_GUID& value = gKelmBiosBootInterfaceProtocolGuid;
};
