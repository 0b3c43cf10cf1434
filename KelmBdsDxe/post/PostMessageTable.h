// The rows of the POST message service's table: which message a number stands for on this platform.
#pragma once

#include "kelm/PostMessageProtocol.h"
#include "library/firmware/Pool.h"

namespace kelm {

// What no identifier stands for.
inline constexpr UINT32 kNoEemiNumber = ~UINT32{0};

// The first row of a number that is meant for this platform, or null. The row stays the service's.
const PostMessageTableEntry* FindPostMessage(const KelmPostMessageProtocol& service, UINT32 number);

// A new copy of the identifier of a message; null when the number has no row, or memory is out.
PoolPtr<CHAR16> GetPostMessageIdentifier(UINT32 number);
// The decimal number behind the "UEFI" that an identifier begins with; kNoEemiNumber when it is not
// made like that.
UINT32 GetEemiNumber(const CHAR16* identifier);

} // namespace kelm
