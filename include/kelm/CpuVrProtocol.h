// The processor voltage regulators that must be given register values at every boot, as a linked
// list that the provider owns.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

// {78260A2A-3C55-4ABF-9AEE-0EB5CD8C0B61}
inline constexpr EFI_GUID gDpiCpuVrDxeProtocolGuid = {
    0x78260A2A, 0x3C55, 0x4ABF, {0x9A, 0xEE, 0x0E, 0xB5, 0xCD, 0x8C, 0x0B, 0x61}};

inline constexpr UINTN kCpuVrMaxRegisters = 2;

struct CpuVrRegister {
    UINT8 Register; // PMBus command code
    UINT8 Value;
};

struct CpuVrRecord {
    UINT8 Supported;     // of the first record; 0: the platform does not need this
    UINT8 RegisterCount; // at most kCpuVrMaxRegisters
    CpuVrRegister Registers[kCpuVrMaxRegisters];
    UINT8 PmbusAddress;
    UINT8 I2cBus;
    CpuVrRecord* Next; // null ends the list
};
static_assert(offsetof(CpuVrRecord, Registers) == 2);
static_assert(offsetof(CpuVrRecord, PmbusAddress) == 6);
static_assert(offsetof(CpuVrRecord, Next) == 8);
static_assert(sizeof(CpuVrRecord) == 16);

struct DpiCpuVrDxeProtocol {
    void* Reserved0;
    // *first is the first record. Takes only its output.
    EFI_STATUS(EFIAPI* GetRegulators)(CpuVrRecord** first);
};
static_assert(sizeof(DpiCpuVrDxeProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<DpiCpuVrDxeProtocol> {
    static constexpr const EFI_GUID& value = gDpiCpuVrDxeProtocolGuid;
};
