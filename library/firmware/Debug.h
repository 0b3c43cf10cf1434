// The debug log. A line has a level mask; the platform's log protocol says which levels are wanted
// and takes the formatted text. Without that protocol nothing is logged.
#pragma once

#include "library/pure/Format.h"
#include "uefi/Base.h"

#include <array>
#include <span>

namespace kelm {

// Longest text of one call, NUL included; longer text is cut.
inline constexpr UINTN kDebugTextSize = 2048;

// True when a text of this level would be taken.
bool DebugLevelEnabled(UINT64 level);
// Formats and logs; the conversions are those of library/pure/Format.h.
void DebugPrintArguments(UINT64 level, const char* format,
                         std::span<const FormatArgument> arguments);

template <class... Arguments>
void DebugPrint(UINT64 level, const char* format, const Arguments&... arguments) {
    if (!DebugLevelEnabled(level)) {
        return;
    }
    const std::array<FormatArgument, sizeof...(Arguments)> packed{FormatArgument(arguments)...};
    DebugPrintArguments(level, format, packed);
}

EFI_STATUS ConstructDebug();
void DestructDebug();

} // namespace kelm
