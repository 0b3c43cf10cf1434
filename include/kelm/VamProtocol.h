// The VAM service, started early in BDS where it is present.
#pragma once

#include "uefi/Base.h"

// {1FDC76E0-FB9E-491E-8C60-A7F7EAC8795D}
inline constexpr EFI_GUID gKelmVamProtocolGuid = {
    0x1FDC76E0, 0xFB9E, 0x491E, {0x8C, 0x60, 0xA7, 0xF7, 0xEA, 0xC8, 0x79, 0x5D}};

struct KelmVamProtocol {
    // Starts the service. The status is not looked at.
    EFI_STATUS(EFIAPI* Initialize)(KelmVamProtocol* This);
};
static_assert(sizeof(KelmVamProtocol) == 1 * sizeof(void*));

template <>
struct ProtocolGuid<KelmVamProtocol> {
    static constexpr const EFI_GUID& value = gKelmVamProtocolGuid;
};
