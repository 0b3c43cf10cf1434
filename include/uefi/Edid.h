// EDID of a video output: as read from the display (discovered), as in use (active) and as supplied
// by the platform (override) (UEFI 2.10, section 12.9).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiEdidDiscoveredProtocolGuid = {
    0x1C0C34F6, 0xD380, 0x41FA, {0xA0, 0x49, 0x8A, 0xD0, 0x6C, 0x1A, 0x66, 0xAA}};
inline constexpr EFI_GUID gEfiEdidActiveProtocolGuid = {
    0xBD8C1056, 0x9F36, 0x44EC, {0x92, 0xA8, 0xA6, 0x33, 0x7F, 0x81, 0x79, 0x86}};
inline constexpr EFI_GUID gEfiEdidOverrideProtocolGuid = {
    0x48ECB431, 0xFB72, 0x45C0, {0xA9, 0x22, 0xF4, 0x58, 0xFE, 0x04, 0x0B, 0xD5}};

inline constexpr UINTN kEdidBlockSize = 128;

// SizeOfEdid is 0 and Edid null when the display gave none.
struct EFI_EDID_DISCOVERED_PROTOCOL {
    UINT32 SizeOfEdid;
    UINT8* Edid;
};
static_assert(sizeof(EFI_EDID_DISCOVERED_PROTOCOL) == 16);

struct EFI_EDID_ACTIVE_PROTOCOL {
    UINT32 SizeOfEdid;
    UINT8* Edid;
};
static_assert(sizeof(EFI_EDID_ACTIVE_PROTOCOL) == 16);

inline constexpr UINT32 EFI_EDID_OVERRIDE_DONT_OVERRIDE = 0x01;
inline constexpr UINT32 EFI_EDID_OVERRIDE_ENABLE_HOT_PLUG = 0x02;

struct EFI_EDID_OVERRIDE_PROTOCOL {
    EFI_STATUS(EFIAPI* GetEdid)
    (EFI_EDID_OVERRIDE_PROTOCOL* This, EFI_HANDLE* ChildHandle, UINT32* Attributes, UINTN* EdidSize,
     UINT8** Edid);
};
static_assert(sizeof(EFI_EDID_OVERRIDE_PROTOCOL) == 8);

template <>
struct ProtocolGuid<EFI_EDID_DISCOVERED_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiEdidDiscoveredProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_EDID_ACTIVE_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiEdidActiveProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_EDID_OVERRIDE_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiEdidOverrideProtocolGuid;
};
