// What the controller driver publishes about this controller. Data only; the provider owns it and
// keeps it for the whole boot.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

// {1304FEBA-933A-40AF-A1D7-D06F27E42EBD}
inline constexpr EFI_GUID gKelmNimborInfoProtocolGuid = {
    0x1304FEBA, 0x933A, 0x40AF, {0xA1, 0xD7, 0xD0, 0x6F, 0x27, 0xE4, 0x2E, 0xBD}};

struct KelmNimborInfoProtocol {
    // I/O port of the SMA interface; writing kSmaInterfaceCloseByte there closes it.
    UINT16 SmaInterfacePort;
    // Non-zero: the F10 function (Forgeline) must not be offered.
    UINT8 F10Hidden;
    UINT8 Reserved3;
};
static_assert(sizeof(KelmNimborInfoProtocol) == 4);
static_assert(offsetof(KelmNimborInfoProtocol, F10Hidden) == 2);

inline constexpr UINT8 kSmaInterfaceCloseByte = 0x7F;

template <>
struct ProtocolGuid<KelmNimborInfoProtocol> {
    static constexpr const EFI_GUID& value = gKelmNimborInfoProtocolGuid;
};
