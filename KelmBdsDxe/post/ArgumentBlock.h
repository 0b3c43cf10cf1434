// The argument block of a POST message: NUL-separated UCS-2 strings that the controller's log gets
// beside the message's identifier.
#pragma once

#include "library/firmware/Pool.h"
#include "library/pure/Format.h"

namespace kelm {

// More strings than this are never read from a block. Behind the text of every block stand as many
// NULs, so that somebody who expects more strings than there are finds empty ones.
inline constexpr UINTN kArgumentBlockMaxStrings = 4;

// The block of a message with these arguments: most messages have their first argument as it is, a
// text; a few have several arguments in a fixed form, and building that takes 100 ms. Null without
// a text to begin with, and when memory is out.
PoolPtr<CHAR16> MakeArgumentBlock(UINT32 number, FormatArguments arguments);

} // namespace kelm
