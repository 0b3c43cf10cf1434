// The platform's sink for debug output. A driver formats a line, the sink decides by its level
// where it goes. Levels stand in kelm/DebugLevels.h.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

// {353C7436-4FE3-44BC-A155-FCECBAE215B2}
inline constexpr EFI_GUID gKelmDebugLogProtocolGuid = {
    0x353C7436, 0x4FE3, 0x44BC, {0xA1, 0x55, 0xFC, 0xEC, 0xBA, 0xE2, 0x15, 0xB2}};

inline constexpr UINT64 kKelmDebugLogRevision = 0x10000;

struct KelmDebugLogProtocol {
    UINT64 Revision;  // kKelmDebugLogRevision
    UINT64 LevelMask; // a text is worth formatting when it shares a bit with this mask
    // Takes the text of one formatted call: ASCII, NUL-terminated, line ends included. The text is
    // the caller's and may be reused at once. Allowed at any task priority.
    EFI_STATUS(EFIAPI* Write)(KelmDebugLogProtocol* This, UINT64 level, const CHAR8* text);
};
static_assert(sizeof(KelmDebugLogProtocol) == 16 + sizeof(void*));
static_assert(offsetof(KelmDebugLogProtocol, LevelMask) == 8);

template <>
struct ProtocolGuid<KelmDebugLogProtocol> {
    static constexpr const EFI_GUID& value = gKelmDebugLogProtocolGuid;
};
