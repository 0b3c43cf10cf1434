// Messages that BDS passes into SMM through the standard's SMM communication protocol.
#pragma once

#include "uefi/Base.h"

// The Windows key layout record for the controller: a header with this GUID and message length 0,
// in a buffer of 25 bytes (the 24-byte header and one byte of data).
// {975C729A-B111-4594-9D72-F06E52308671}
inline constexpr EFI_GUID gKelmNimborWin5x5PidMessageGuid = {
    0x975C729A, 0xB111, 0x4594, {0x9D, 0x72, 0xF0, 0x6E, 0x52, 0x30, 0x86, 0x71}};

inline constexpr UINTN kNimborWin5x5PidBufferSize = 25;
