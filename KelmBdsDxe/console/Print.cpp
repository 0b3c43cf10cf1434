#include "console/Print.h"

#include "core/DriverState.h"
#include "library/firmware/HiiStrings.h"
#include "library/firmware/Services.h"
#include "library/pure/Ucs2.h"
#include "strings/Strings.h"
#include "uefi/SimpleTextOutput.h"

#include <algorithm>
#include <string_view>

namespace kelm {

namespace {

constexpr std::u16string_view kLineEnd = u"\r\n";

// Writes one piece through a line buffer of its own, because a view has no terminating NUL.
void WritePiece(std::u16string_view piece, std::u16string_view end) {
    std::array<CHAR16, kPrintMaxColumns + kLineEnd.size() + 1> line;
    static_cast<void>(Ucs2Copy(line, piece));
    static_cast<void>(Ucs2Append(line, end));
    static_cast<void>(gST->ConOut->OutputString(gST->ConOut, line.data()));
}

// How the next line is cut from the rest of a text.
struct Cut {
    UINTN length = 0;   // characters to write
    UINTN consumed = 0; // characters that are done with
    bool wrapped = false;
    bool lineEnd = true;
};

Cut NextCut(std::u16string_view rest, UINTN width) {
    UINTN lastSpace = kNotFound;
    for (UINTN i = 0; i < width; ++i) {
        if (i == rest.size()) {
            return {.length = i, .consumed = i, .lineEnd = false};
        }
        if (rest[i] == u'\n') {
            return {.length = i, .consumed = i + 1};
        }
        if (rest[i] == u' ') {
            lastSpace = i;
        }
    }
    if (rest.size() == width) {
        return {.length = width, .consumed = width, .lineEnd = false};
    }
    if (rest[width] == u' ' || rest[width] == u'\n') {
        return {.length = width, .consumed = width + 1, .wrapped = true};
    }
    if (lastSpace != kNotFound) {
        return {.length = lastSpace, .consumed = lastSpace + 1, .wrapped = true};
    }
    return {.length = width, .consumed = width, .wrapped = true};
}

} // namespace

void SetPrintWrapColumn(UINTN columns) {
    gDriver.console.wrapColumn = std::min(columns, kPrintMaxColumns);
}

UINTN PrintWrapped(const CHAR16* text) {
    if (text == nullptr || gST->ConOut == nullptr) {
        return 0;
    }
    const UINTN width = gDriver.console.wrapColumn;
    if (width == 0) {
        PrintUnwrapped(text);
        return 1;
    }
    UINTN pieces = 0;
    for (std::u16string_view rest = Ucs2View(text); !rest.empty();) {
        const Cut cut = NextCut(rest, width);
        WritePiece(rest.substr(0, cut.length), cut.lineEnd ? kLineEnd : std::u16string_view{});
        ++pieces;
        rest.remove_prefix(cut.consumed);
        if (cut.wrapped) {
            rest.remove_prefix(std::min(rest.find_first_not_of(u' '), rest.size()));
        }
    }
    return pieces;
}

void PrintString(const CHAR16* text) {
    static_cast<void>(PrintWrapped(text));
}

void PrintUnwrapped(const CHAR16* text) {
    if (text != nullptr && gST->ConOut != nullptr) {
        static_cast<void>(gST->ConOut->OutputString(gST->ConOut, const_cast<CHAR16*>(text)));
    }
}

EFI_STATUS PrintHiiString(UINT16 number) {
    PoolPtr<CHAR16> text;
    const EFI_STATUS status =
        GetHiiString(gDriver.strings.packageList, number, kStringLanguage, text);
    if (EFI_ERROR(status)) {
        return status;
    }
    PrintString(text.get());
    return EFI_SUCCESS;
}

UINTN PrintFormattedArguments(const CHAR16* format, std::span<const FormatArgument> arguments) {
    std::array<CHAR16, kPrintFormatSize> text;
    FormatUcs2V(text, format, arguments);
    return PrintWrapped(text.data());
}

} // namespace kelm
