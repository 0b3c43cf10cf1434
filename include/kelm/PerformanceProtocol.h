// The platform's performance measurement: named intervals on one time axis that begins at reset. A
// measurement is closed by the same token and module that opened it.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

struct KelmPerformanceProtocol;

// {DEA56C26-FFE9-426E-B54C-2FD13291C48B}
inline constexpr EFI_GUID gKelmPerformanceProtocolGuid = {
    0xDEA56C26, 0xFFE9, 0x426E, {0xB5, 0x4C, 0x2F, 0xD1, 0x32, 0x91, 0xC4, 0x8B}};

inline constexpr UINT64 kKelmPerformanceRevision = 0x10000;

// Time stamps with a meaning of their own.
inline constexpr UINT64 kPerformanceNow = 0;
inline constexpr UINT64 kPerformanceSinceReset = 1;

struct KelmPerformanceProtocol {
    UINT64 Revision; // kKelmPerformanceRevision
    BOOLEAN Enabled; // FALSE: measuring is off, callers make no calls
    // Opens a measurement. The handle and the module may be null; the texts are ASCII and are
    // copied.
    EFI_STATUS(EFIAPI* Start)
    (KelmPerformanceProtocol* This, EFI_HANDLE handle, const CHAR8* token, const CHAR8* module,
     UINT64 timeStamp);
    // Closes the latest open measurement of that handle, token and module. EFI_NOT_FOUND: none
    // open.
    EFI_STATUS(EFIAPI* End)
    (KelmPerformanceProtocol* This, EFI_HANDLE handle, const CHAR8* token, const CHAR8* module,
     UINT64 timeStamp);
};
static_assert(offsetof(KelmPerformanceProtocol, Start) == 16);
static_assert(sizeof(KelmPerformanceProtocol) == 16 + 2 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPerformanceProtocol> {
    static constexpr const EFI_GUID& value = gKelmPerformanceProtocolGuid;
};
