// The silicon's map of its I/O: which PCI buses hang below which stack of which socket. Data only,
// owned by the silicon code.
#pragma once

#include "uefi/Base.h"

// {A7CED760-C71C-4E1A-ACB1-89604D5216CB}
inline constexpr EFI_GUID gEfiIioUdsProtocolGuid = {
    0xA7CED760, 0xC71C, 0x4E1A, {0xAC, 0xB1, 0x89, 0x60, 0x4D, 0x52, 0x16, 0xCB}};

inline constexpr UINTN kIioMaxSockets = 4;
inline constexpr UINTN kIioMaxStacks = 16;

// A range of buses; base above limit: nothing there.
struct IioBusRange {
    UINT8 Base;
    UINT8 Limit;
};

struct IioSocket {
    UINT8 Present; // non-zero when the socket is populated
    UINT8 Segment; // PCI segment of its buses
    IioBusRange Buses;
    IioBusRange Stacks[kIioMaxStacks];
};
static_assert(sizeof(IioSocket) == 4 + 2 * kIioMaxStacks);

struct EfiIioUdsProtocol {
    IioSocket Sockets[kIioMaxSockets];
};
static_assert(sizeof(EfiIioUdsProtocol) == kIioMaxSockets * sizeof(IioSocket));

template <>
struct ProtocolGuid<EfiIioUdsProtocol> {
    static constexpr const EFI_GUID& value = gEfiIioUdsProtocolGuid;
};
