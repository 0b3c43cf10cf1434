// The platform's policy decisions: what POST may offer to the user and how strict it is. The other
// firmware drivers know the same service as the Forgeline service and as the boot policy; there is
// one protocol. Answers are 0 or 1. BDS looks it up once and keeps the pointer.
#pragma once

#include "uefi/Base.h"

// {E8DEEEB0-8804-4CB9-A229-08D4F3B59E12}
inline constexpr EFI_GUID gKelmPlatformPolicyProtocolGuid = {
    0xE8DEEEB0, 0x8804, 0x4CB9, {0xA2, 0x29, 0x08, 0xD4, 0xF3, 0xB5, 0x9E, 0x12}};

// Which boot order IsFrontBackUsbFirst is asked about.
inline constexpr UINTN kPolicyLegacyBootOrder = 0;
inline constexpr UINTN kPolicyUefiBootOrder = 1;

struct KelmPlatformPolicyProtocol {
    void* Reserved0;
    void* Reserved1;
    void* Reserved2;
    void* Reserved3;
    void* Reserved4;
    void* Reserved5;
    void* Reserved6;
    void* Reserved7;
    void* Reserved8;
    void* Reserved9;
    // TRUE: F2, F10, F11 and F12 are not offered during POST.
    BOOLEAN(EFIAPI* AreHotKeysBlocked)(KelmPlatformPolicyProtocol* This);
    // TRUE: the Forgeline tool does not exist on this system.
    BOOLEAN(EFIAPI* IsForgelineBlocked)(KelmPlatformPolicyProtocol* This);
    void* Reserved12;
    void* Reserved13;
    void* Reserved14;
    void* Reserved15;
    void* Reserved16;
    // TRUE: new disks on front and back USB ports go to the front of the named boot order.
    BOOLEAN(EFIAPI* IsFrontBackUsbFirst)(KelmPlatformPolicyProtocol* This, UINTN bootOrder);
    void* Reserved18;
    void* Reserved19;
    void* Reserved20;
    void* Reserved21;
    // TRUE: the error prompt continues by itself after 30 seconds.
    BOOLEAN(EFIAPI* IsErrorPromptTimed)(KelmPlatformPolicyProtocol* This);
    void* Reserved23;
    void* Reserved24;
    void* Reserved25;
    // Applies the OEM identity's policy for a system whose secure boot is off. The result is
    // ignored.
    EFI_STATUS(EFIAPI* ApplySecureBootOffPolicy)(KelmPlatformPolicyProtocol* This);
    void* Reserved27;
    void* Reserved28;
    // Called once early in BDS, before languages and boot mode are settled. The result is ignored.
    EFI_STATUS(EFIAPI* EarlyInit)(KelmPlatformPolicyProtocol* This);
    void* Reserved30;
    void* Reserved31;
    void* Reserved32;
    void* Reserved33;
    void* Reserved34;
    // TRUE: the F10 key is hidden and not registered.
    BOOLEAN(EFIAPI* IsF10Hidden)(KelmPlatformPolicyProtocol* This);
    void* Reserved36;
    // TRUE: the F2 line is left out of the key prompt.
    BOOLEAN(EFIAPI* IsF2Hidden)(KelmPlatformPolicyProtocol* This);
    // TRUE: setup is closed to whoever lacks the administrator password or meets a locked
    // configuration; FALSE lets them in to look.
    BOOLEAN(EFIAPI* IsSetupDenied)(KelmPlatformPolicyProtocol* This);
    // TRUE: F12 asks for the administrator password.
    BOOLEAN(EFIAPI* IsPxePasswordRequired)(KelmPlatformPolicyProtocol* This);
};
static_assert(sizeof(KelmPlatformPolicyProtocol) == 40 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPlatformPolicyProtocol> {
    static constexpr const EFI_GUID& value = gKelmPlatformPolicyProtocolGuid;
};
