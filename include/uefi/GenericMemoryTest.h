// EFI_GENERIC_MEMORY_TEST_PROTOCOL: testing the memory that the pre-EFI phase left untested
// (PI 1.8, volume 2).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiGenericMemTestProtocolGuid = {
    0x309DE7F1, 0x7F5E, 0x4ACE, {0xB4, 0x9C, 0x53, 0x1B, 0xE5, 0xAA, 0x95, 0xEF}};

enum class EXTENDMEM_COVERAGE_LEVEL : UINT32 { IGNORE, QUICK, SPARSE, EXTENSIVE, MAXLEVEL };

struct EFI_GENERIC_MEMORY_TEST_PROTOCOL {
    // EFI_NO_MEDIA: there is nothing to test.
    EFI_STATUS(EFIAPI* MemoryTestInit)
    (EFI_GENERIC_MEMORY_TEST_PROTOCOL* This, EXTENDMEM_COVERAGE_LEVEL Level,
     BOOLEAN* RequireSoftECCInit);
    // One step. EFI_NOT_FOUND: all memory is tested. EFI_DEVICE_ERROR with ErrorOut set: an error
    // was found.
    EFI_STATUS(EFIAPI* PerformMemoryTest)
    (EFI_GENERIC_MEMORY_TEST_PROTOCOL* This, UINT64* TestedMemorySize, UINT64* TotalMemorySize,
     BOOLEAN* ErrorOut, BOOLEAN IfTestAbort);
    EFI_STATUS(EFIAPI* Finished)(EFI_GENERIC_MEMORY_TEST_PROTOCOL* This);
    EFI_STATUS(EFIAPI* CompatibleRangeTest)
    (EFI_GENERIC_MEMORY_TEST_PROTOCOL* This, EFI_PHYSICAL_ADDRESS StartAddress, UINT64 Length);
};
static_assert(sizeof(EFI_GENERIC_MEMORY_TEST_PROTOCOL) == 32);

template <>
struct ProtocolGuid<EFI_GENERIC_MEMORY_TEST_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiGenericMemTestProtocolGuid;
};
