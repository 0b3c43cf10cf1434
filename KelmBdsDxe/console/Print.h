// Text on the console, wrapped at words.
//
// Nothing is written while the system table has no console output.
#pragma once

#include "library/pure/Format.h"
#include "uefi/Base.h"

#include <array>
#include <span>

namespace kelm {

inline constexpr UINTN kPrintMaxColumns = 256;
inline constexpr UINTN kPrintFormatSize = 512; // characters of one formatted text, NUL included

// Columns after which lines are wrapped; more than 256 become 256, and 0 turns wrapping off.
void SetPrintWrapColumn(UINTN columns);
// Writes a text in lines; returns how many pieces were written.
UINTN PrintWrapped(const CHAR16* text);
// Writes a text; null is ignored.
void PrintString(const CHAR16* text);
// Writes a text as it stands, whatever the wrap column, so that it stays where the cursor was put.
void PrintUnwrapped(const CHAR16* text);
// Writes one of the driver's strings (strings/Strings.h). EFI_NOT_FOUND: number 0 or no such
// string; EFI_OUT_OF_RESOURCES.
EFI_STATUS PrintHiiString(UINT16 number);

// Formats (library/pure/Format.h) into 512 characters and writes the result in lines.
UINTN PrintFormattedArguments(const CHAR16* format, std::span<const FormatArgument> arguments);
template <class... Arguments>
UINTN PrintFormatted(const CHAR16* format, const Arguments&... arguments) {
    const std::array<FormatArgument, sizeof...(Arguments)> packed{FormatArgument(arguments)...};
    return PrintFormattedArguments(format, packed);
}

} // namespace kelm
