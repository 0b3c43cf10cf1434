// The OEM identity of the server: the ID module says what it wants, the branding service does it,
// and the end-of-POST service closes it.
#pragma once

#include "uefi/Base.h"

// {94291968-2E45-4B1E-8D4C-E888CABB527D}
inline constexpr EFI_GUID gKelmIdModuleProtocolGuid = {
    0x94291968, 0x2E45, 0x4B1E, {0x8D, 0x4C, 0xE8, 0x88, 0xCA, 0xBB, 0x52, 0x7D}};
// {2B9A2782-C440-4CC2-AB1D-C4B04425664B}
inline constexpr EFI_GUID gKelmOemIdProtocolGuid = {
    0x2B9A2782, 0xC440, 0x4CC2, {0xAB, 0x1D, 0xC4, 0xB0, 0x44, 0x25, 0x66, 0x4B}};
// {65CB5778-D62D-42DC-B8D4-A0B763BADF1A}
inline constexpr EFI_GUID gKelmOemIdEndOfPostProtocolGuid = {
    0x65CB5778, 0xD62D, 0x42DC, {0xB8, 0xD4, 0xA0, 0xB7, 0x63, 0xBA, 0xDF, 0x1A}};

struct KelmIdModuleProtocol {
    void* Reserved0;
    // 1: the module asks for a rebrand.
    UINT8(EFIAPI* IsRebrandRequested)(KelmIdModuleProtocol* This);
    // 1: the module asks for a debrand. Asked only when no rebrand is wanted.
    UINT8(EFIAPI* IsDebrandRequested)(KelmIdModuleProtocol* This);
};
static_assert(sizeof(KelmIdModuleProtocol) == 3 * sizeof(void*));

struct KelmOemIdProtocol {
    void* Reserved0;
    // Applies the identity of the ID module.
    EFI_STATUS(EFIAPI* Rebrand)(KelmOemIdProtocol* This);
    // Takes the identity off again.
    EFI_STATUS(EFIAPI* Debrand)(KelmOemIdProtocol* This);
    // Keeps a copy of the OEM's SMBIOS strings.
    EFI_STATUS(EFIAPI* BackupOemSmbiosStrings)(KelmOemIdProtocol* This);
};
static_assert(sizeof(KelmOemIdProtocol) == 4 * sizeof(void*));

struct KelmOemIdEndOfPostProtocol {
    void* Reserved0;
    void* Reserved1;
    void* Reserved2;
    // POST is over.
    EFI_STATUS(EFIAPI* EndOfPost)(KelmOemIdEndOfPostProtocol* This);
};
static_assert(sizeof(KelmOemIdEndOfPostProtocol) == 4 * sizeof(void*));

template <>
struct ProtocolGuid<KelmIdModuleProtocol> {
    static constexpr const EFI_GUID& value = gKelmIdModuleProtocolGuid;
};
template <>
struct ProtocolGuid<KelmOemIdProtocol> {
    static constexpr const EFI_GUID& value = gKelmOemIdProtocolGuid;
};
template <>
struct ProtocolGuid<KelmOemIdEndOfPostProtocol> {
    static constexpr const EFI_GUID& value = gKelmOemIdEndOfPostProtocolGuid;
};
