// The password service keeps and compares the system and the setup password; BDS only asks for
// them. It also brackets the time in which someone may be typing one, and the time in which a boot
// image owns the machine.
#pragma once

#include "uefi/Base.h"

// {4BC60584-950A-4EF1-8BA1-D176486F87B4}
inline constexpr EFI_GUID gKelmPasswordProtocolGuid = {
    0x4BC60584, 0x950A, 0x4EF1, {0x8B, 0xA1, 0xD1, 0x76, 0x48, 0x6F, 0x87, 0xB4}};

inline constexpr UINT8 kPasswordTypeSystem = 1;
inline constexpr UINT8 kPasswordTypeSetup = 2;

inline constexpr UINT8 kPasswordInstalled = 0x01; // attribute bit of GetProperties
inline constexpr UINT8 kPasswordTypedAtPost = 2;  // where ValidatePassword's text comes from

struct KelmPasswordProtocol {
    void* Reserved0;
    // Describes one password: its attributes and the longest text that may be typed, in characters.
    // The three ignored outputs must still be given.
    EFI_STATUS(EFIAPI* GetProperties)
    (KelmPasswordProtocol* This, UINT8 passwordType, UINT8* attributes, UINT64* ignored1,
     UINT64* ignored2, UINT16* maximumLength, UINT64* ignored3);
    // EFI_SUCCESS when the NUL-terminated text is the password. *detail is the service's own.
    EFI_STATUS(EFIAPI* ValidatePassword)
    (KelmPasswordProtocol* This, UINT8 source, UINT8 passwordType, const CHAR16* text,
     UINT16* detail);
    void* Reserved3;
    // *state is 1 once the setup password has been accepted in this boot.
    EFI_STATUS(EFIAPI* GetValidationState)(KelmPasswordProtocol* This, UINT8* state);
    // Records that a setup function was entered while no setup password is installed.
    EFI_STATUS(EFIAPI* SetNoPasswordState)(KelmPasswordProtocol* This);
    // A password may be typed, or a boot image is about to be started.
    EFI_STATUS(EFIAPI* PasswordEntryBegin)(KelmPasswordProtocol* This);
    // The time opened by PasswordEntryBegin is over. Also called once at the start of BDS.
    EFI_STATUS(EFIAPI* PasswordEntryEnd)(KelmPasswordProtocol* This);
    // *mode 0: a prompt has to be bracketed by PasswordEntryBegin and PasswordEntryEnd.
    EFI_STATUS(EFIAPI* GetEntryMode)(UINT8* mode);
};
static_assert(sizeof(KelmPasswordProtocol) == 9 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPasswordProtocol> {
    static constexpr const EFI_GUID& value = gKelmPasswordProtocolGuid;
};
