// Where a device sits, in words and as an FQDD. Texts are UCS-2 in new pool memory that the caller
// frees; an output that is not wanted is passed as a null pointer. The language is always "en-US".
#pragma once

#include "uefi/Base.h"

struct EFI_DEVICE_PATH_PROTOCOL;

// {2F597134-A7CA-4E46-8055-58AC82D6D1EE}
inline constexpr EFI_GUID gKelmDeviceLocationProtocolGuid = {
    0x2F597134, 0xA7CA, 0x4E46, {0x80, 0x55, 0x58, 0xAC, 0x82, 0xD6, 0xD1, 0xEE}};

inline constexpr CHAR8 kDeviceLocationLanguage[] = "en-US";

struct KelmDeviceLocationProtocol {
    // Describes the device that a path names: its location text, its FQDD (which may carry bracket
    // attributes) and a short name that BDS does not use. EFI_NOT_FOUND: device unknown, no output
    // is set. A success may still leave an output null.
    EFI_STATUS(EFIAPI* GetDeviceLocation)
    (KelmDeviceLocationProtocol* This, const EFI_DEVICE_PATH_PROTOCOL* path, const CHAR8* language,
     CHAR16** locationText, CHAR16** fqdd, CHAR16** shortName);
    // The display text of a device named by its FQDD, present or not, and a second text.
    EFI_STATUS(EFIAPI* GetBootDescription)
    (KelmDeviceLocationProtocol* This, const CHAR16* fqdd, const CHAR8* language,
     CHAR16** description, CHAR16** detail);
    void* Reserved2;
    void* Reserved3;
    // Collects the locations of the devices found so far.
    EFI_STATUS(EFIAPI* InitializeDeviceLocations)(KelmDeviceLocationProtocol* This);
    void* Reserved5;
    // Asks the service to collect again once all controllers are connected.
    EFI_STATUS(EFIAPI* RegisterDeviceLocationEvent)(KelmDeviceLocationProtocol* This);
};
static_assert(sizeof(KelmDeviceLocationProtocol) == 7 * sizeof(void*));

template <>
struct ProtocolGuid<KelmDeviceLocationProtocol> {
    static constexpr const EFI_GUID& value = gKelmDeviceLocationProtocolGuid;
};
