// EFI_TIMESTAMP_PROTOCOL: the platform's high-resolution counter (UEFI 2.10, section 39.1).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiTimestampProtocolGuid = {
    0xAFBFDE41, 0x2E6E, 0x4262, {0xBA, 0x65, 0x62, 0xB9, 0x23, 0x6E, 0x54, 0x95}};

struct EFI_TIMESTAMP_PROPERTIES {
    UINT64 Frequency; // ticks a second
    UINT64 EndValue;  // the counter rolls over to 0 behind it
};
static_assert(sizeof(EFI_TIMESTAMP_PROPERTIES) == 16);

struct EFI_TIMESTAMP_PROTOCOL {
    UINT64(EFIAPI* GetTimestamp)();
    EFI_STATUS(EFIAPI* GetProperties)(EFI_TIMESTAMP_PROPERTIES* Properties);
};
static_assert(sizeof(EFI_TIMESTAMP_PROTOCOL) == 16);

template <>
struct ProtocolGuid<EFI_TIMESTAMP_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiTimestampProtocolGuid;
};
