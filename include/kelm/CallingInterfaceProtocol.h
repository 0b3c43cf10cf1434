// Numbered requests to the system-management part of the firmware: the caller fills a block, the
// service writes its results into it. BDS uses it for the virtual power cycle (vAC).
#pragma once

#include "uefi/Base.h"

#include <cstddef>

// {C915D6C2-6841-43B6-8F9B-5015C1829C6F}
inline constexpr EFI_GUID gKelmCallingInterfaceProtocolGuid = {
    0xC915D6C2, 0x6841, 0x43B6, {0x8F, 0x9B, 0x50, 0x15, 0xC1, 0x82, 0x9C, 0x6F}};

struct CallingInterfaceBlock {
    UINT16 Class;
    UINT16 Select;
    UINT32 Arguments[4];
    UINT32 Status; // filled with kCallingInterfaceNotServiced by the caller
    UINT32 Result;
};
static_assert(offsetof(CallingInterfaceBlock, Arguments) == 4);
static_assert(offsetof(CallingInterfaceBlock, Status) == 20);
static_assert(offsetof(CallingInterfaceBlock, Result) == 24);
static_assert(sizeof(CallingInterfaceBlock) == 28);

inline constexpr UINT32 kCallingInterfaceNotServiced = 0xFFFFFFFD;

// Virtual power cycle: Arguments[0] says what; after a query a non-zero result means that a power
// cycle is pending.
inline constexpr UINT16 kVacClass = 0x19;
inline constexpr UINT16 kVacSelect = 1;
inline constexpr UINT32 kVacQuery = 0;
inline constexpr UINT32 kVacClear = 1;

struct KelmCallingInterfaceProtocol {
    // Services one block.
    EFI_STATUS(EFIAPI* Call)(KelmCallingInterfaceProtocol* This, CallingInterfaceBlock* block);
};
static_assert(sizeof(KelmCallingInterfaceProtocol) == 1 * sizeof(void*));

template <>
struct ProtocolGuid<KelmCallingInterfaceProtocol> {
    static constexpr const EFI_GUID& value = gKelmCallingInterfaceProtocolGuid;
};
