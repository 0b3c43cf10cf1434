// State that BDS shares with the controller driver. Data only, owned by the controller driver; BDS
// writes both fields.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

// {1064B747-F00E-4C20-817A-41B368908A7D}
inline constexpr EFI_GUID gKelmNimborInterfaceGuid = {
    0x1064B747, 0xF00E, 0x4C20, {0x81, 0x7A, 0x41, 0xB3, 0x68, 0x90, 0x8A, 0x7D}};

struct KelmNimborInterface {
    // Counted up by one each time the power-supply boot status command fails.
    UINT16 CommandFailureCount;
    // Set to 1 once the SMA interface has been closed for the operating system.
    UINT8 SmaInterfaceClosed;
    UINT8 Reserved3;
};
static_assert(sizeof(KelmNimborInterface) == 4);
static_assert(offsetof(KelmNimborInterface, SmaInterfaceClosed) == 2);

template <>
struct ProtocolGuid<KelmNimborInterface> {
    static constexpr const EFI_GUID& value = gKelmNimborInterfaceGuid;
};
