// The board's CPLD: byte registers, and the lock that closes them before an operating system runs.
// Two protocols of two drivers: the first is present on boards whose CPLD is accessible. Register
// numbers and bits stand in kelm/CpldRegisters.h.
#pragma once

#include "uefi/Base.h"

// {FAC8D88B-376B-4364-B6AB-28DE722791E8}
inline constexpr EFI_GUID gKelmCpldProtocolGuid = {
    0xFAC8D88B, 0x376B, 0x4364, {0xB6, 0xAB, 0x28, 0xDE, 0x72, 0x27, 0x91, 0xE8}};
// {479E88CF-29FC-4297-A98F-4539190EBB25}
inline constexpr EFI_GUID gKelmCpldLockProtocolGuid = {
    0x479E88CF, 0x29FC, 0x4297, {0xA9, 0x8F, 0x45, 0x39, 0x19, 0x0E, 0xBB, 0x25}};

struct KelmCpldProtocol {
    // Reads one register.
    EFI_STATUS(EFIAPI* ReadRegister)(KelmCpldProtocol* This, UINT16 reg, UINT8* value);
    // Writes one register. An error leaves it as it was.
    EFI_STATUS(EFIAPI* WriteRegister)(KelmCpldProtocol* This, UINT16 reg, UINT8 value);
};
static_assert(sizeof(KelmCpldProtocol) == 2 * sizeof(void*));

struct KelmCpldLockProtocol {
    void* Reserved0;
    void* Reserved1;
    void* Reserved2;
    void* Reserved3;
    // EFI_UNSUPPORTED: the CPLD is locked already. Anything else: it can be locked.
    EFI_STATUS(EFIAPI* GetLockState)(KelmCpldLockProtocol* This);
    // Locks the CPLD until the next reset.
    EFI_STATUS(EFIAPI* Lock)(KelmCpldLockProtocol* This);
};
static_assert(sizeof(KelmCpldLockProtocol) == 6 * sizeof(void*));

template <>
struct ProtocolGuid<KelmCpldProtocol> {
    static constexpr const EFI_GUID& value = gKelmCpldProtocolGuid;
};
template <>
struct ProtocolGuid<KelmCpldLockProtocol> {
    static constexpr const EFI_GUID& value = gKelmCpldLockProtocolGuid;
};
