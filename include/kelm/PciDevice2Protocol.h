// The platform's knowledge of its PCI devices, and with it of its video controllers: the console
// code knows this protocol as the platform video protocol.
#pragma once

#include "uefi/Base.h"

// {ABE42B52-F143-4164-874E-6372D209788C}
inline constexpr EFI_GUID gKelmPciDevice2ProtocolGuid = {
    0xABE42B52, 0xF143, 0x4164, {0x87, 0x4E, 0x63, 0x72, 0xD2, 0x09, 0x78, 0x8C}};
// The name by which the video code knows the same protocol.
inline constexpr const EFI_GUID& gKelmPlatformVideoProtocolGuid = gKelmPciDevice2ProtocolGuid;

struct KelmPciDevice2Protocol {
    void* Reserved0;
    // PCI enumeration is over and the devices decode; the platform may visit them.
    EFI_STATUS(EFIAPI* ProcessDevices)(KelmPciDevice2Protocol* This);
    void* Reserved2;
    void* Reserved3;
    void* Reserved4;
    void* Reserved5;
    void* Reserved6;
    // The onboard and the add-in video controller; either may come back null.
    EFI_STATUS(EFIAPI* GetVideoControllers)
    (KelmPciDevice2Protocol* This, EFI_HANDLE* onboard, EFI_HANDLE* addin);
    void* Reserved8;
    void* Reserved9;
    void* Reserved10;
    // The onboard video controller has been disconnected; the platform may switch it off.
    EFI_STATUS(EFIAPI* OnboardVideoStopped)(KelmPciDevice2Protocol* This);
};
static_assert(sizeof(KelmPciDevice2Protocol) == 12 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPciDevice2Protocol> {
    static constexpr const EFI_GUID& value = gKelmPciDevice2ProtocolGuid;
};
