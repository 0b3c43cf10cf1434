// What the board is and can do: its identity record, the features it supports, its jumpers and its
// chassis. The provider owns the record and keeps it for the whole boot.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

// {87C6B749-63CF-430D-87B8-E8CBDC8739E2}
inline constexpr EFI_GUID gKelmBoardInfoProtocolGuid = {
    0x87C6B749, 0x63CF, 0x430D, {0x87, 0xB8, 0xE8, 0xCB, 0xDC, 0x87, 0x39, 0xE2}};

// Board identity. The three version bytes become the system table's firmware revision:
// major << 24 | minor << 16 | micro << 8 | 1.
struct KelmBoardRecord {
    CHAR16 FirmwareVendor[40]; // NUL-terminated
    UINT8 Reserved80[3];
    UINT8 VersionMicro;
    UINT8 VersionMinor;
    UINT8 VersionMajor;
    UINT16 ChassisCode;
};
static_assert(offsetof(KelmBoardRecord, VersionMicro) == 83);
static_assert(offsetof(KelmBoardRecord, VersionMinor) == 84);
static_assert(offsetof(KelmBoardRecord, VersionMajor) == 85);
static_assert(offsetof(KelmBoardRecord, ChassisCode) == 86);
static_assert(sizeof(KelmBoardRecord) == 88);

// Chassis code of a sled whose chassis configuration must be readable from the controller.
inline constexpr UINT16 kChassisCodeSled = 30;

// Feature numbers of IsFeatureSupported that BDS asks about.
inline constexpr UINT32 kBoardFeatureModularSerial = 0; // serial routing of modular boards
inline constexpr UINT32 kBoardFeatureNdcStatus = 0x17; // controller knows the daughter card's state
inline constexpr UINT32 kBoardFeatureBladeSerial = 25; // serial routing of blades
inline constexpr UINT32 kBoardFeatureUsbPlaceholders = 39; // USB floppy and optical placeholders
inline constexpr UINT32 kBoardFeaturePostTextSet2 = 0x47;  // second set of POST message texts

// Jumper numbers of IsJumperSet that BDS asks about.
inline constexpr UINT32 kBoardJumperPassword = 8;

// Chassis value with which a waiting sled paces its first retry (kelm/PsuBootStatusProtocol.h).
inline constexpr UINT8 kChassisValuePacedRetry = 0x80;

struct KelmBoardInfoProtocol {
    // *record points to the provider's own record; not to be freed.
    EFI_STATUS(EFIAPI* GetBoardRecord)(KelmBoardInfoProtocol* This, const KelmBoardRecord** record);
    void* Reserved1;
    void* Reserved2;
    void* Reserved3;
    void* Reserved4;
    void* Reserved5;
    // TRUE when the board supports the numbered feature.
    BOOLEAN(EFIAPI* IsFeatureSupported)(KelmBoardInfoProtocol* This, UINT32 feature);
    // TRUE when the numbered jumper is in its enabling position (8: passwords allowed).
    BOOLEAN(EFIAPI* IsJumperSet)(KelmBoardInfoProtocol* This, UINT32 jumper);
    void* Reserved8;
    void* Reserved9;
    void* Reserved10;
    void* Reserved11;
    void* Reserved12;
    void* Reserved13;
    // The chassis value of the board.
    UINT8(EFIAPI* GetChassisValue)(KelmBoardInfoProtocol* This);
};
static_assert(sizeof(KelmBoardInfoProtocol) == 15 * sizeof(void*));

template <>
struct ProtocolGuid<KelmBoardInfoProtocol> {
    static constexpr const EFI_GUID& value = gKelmBoardInfoProtocolGuid;
};
