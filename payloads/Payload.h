// What the payloads have in common: the console.
#pragma once

#include "uefi/SimpleTextOutput.h"
#include "uefi/SystemTable.h"

namespace payload {

// Writes a line on the console; nothing on a machine without one.
inline void Say(const EFI_SYSTEM_TABLE* systemTable, const char16_t* line) {
    EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* console = systemTable->ConOut;
    if (console != nullptr) {
        static_cast<void>(console->OutputString(console, line));
        static_cast<void>(console->OutputString(console, u"\r\n"));
    }
}

} // namespace payload
