// The attribute service: BIOS settings kept by name. Every setting that BDS reads or writes goes
// through this protocol, always in the one namespace below. Values are UCS-2 strings ("Enabled",
// "Disabled", ...) whose size counts the NUL, or raw bytes; the service does not say which, the
// reader knows. The names stand in kelm/AttributeNames.h.
#pragma once

#include "uefi/Base.h"

// {85A3C2A8-0B8A-41D9-9153-1447AC375EFF}
inline constexpr EFI_GUID gKelmAttributeProtocolGuid = {
    0x85A3C2A8, 0x0B8A, 0x41D9, {0x91, 0x53, 0x14, 0x47, 0xAC, 0x37, 0x5E, 0xFF}};
// The namespace of all BIOS settings.
// {DB4B9AA9-459A-488C-A3E6-07E63CF20308}
inline constexpr EFI_GUID gKelmAttributeNamespaceGuid = {
    0xDB4B9AA9, 0x459A, 0x488C, {0xA3, 0xE6, 0x07, 0xE6, 0x3C, 0xF2, 0x03, 0x08}};

// What GetValue reads: the value in force, or the platform's default for the setting.
inline constexpr UINTN kAttributeGetCurrent = 0;
inline constexpr UINTN kAttributeGetDefault = 1;

// How SetValue stores: the value in force, kept across resets.
inline constexpr UINTN kAttributeSetCurrent = 8;

// Upper limit of one string value in bytes, NUL included. Writers refuse more without a call.
inline constexpr UINTN kAttributeMaxStringSize = 1024;

struct KelmAttributeProtocol {
    void* Reserved0;
    // Fills the caller's buffer with a setting's value. On entry *size is the room in bytes, on
    // return the size of the value. EFI_BUFFER_TOO_SMALL: nothing written, *size is what is needed.
    // EFI_NOT_FOUND: no such setting.
    EFI_STATUS(EFIAPI* GetValue)
    (KelmAttributeProtocol* This, const EFI_GUID* nameSpace, const CHAR16* name, UINTN selector,
     UINT16* size, void* buffer);
    void* Reserved2;
    void* Reserved3;
    // Stores a value of `size` bytes; the data is copied.
    EFI_STATUS(EFIAPI* SetValue)
    (KelmAttributeProtocol* This, const EFI_GUID* nameSpace, const CHAR16* name, UINTN selector,
     UINT16 size, const void* data);
};
static_assert(sizeof(KelmAttributeProtocol) == 5 * sizeof(void*));

template <>
struct ProtocolGuid<KelmAttributeProtocol> {
    static constexpr const EFI_GUID& value = gKelmAttributeProtocolGuid;
};
