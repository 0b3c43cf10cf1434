// The simple text output protocol (UEFI 2.10, section 12.4) in front of a screen: checks the
// arguments of each call and changes the screen. The console that ConOut names, the text on a video
// output and a terminal behind a serial port are text outputs; each adds what it does besides.
#pragma once

#include "sim/firmware/TextScreen.h"

#include <optional>
#include <string_view>
#include <vector>

namespace sim {

class Platform;

class TextOutput : public TextScreen {
public:
    // `callName` is a literal: the first part of the name that faults have for the calls,
    // "SimpleTextOutput".
    TextOutput(Platform& platform, const char* callName, std::vector<Mode> modes,
               std::size_t first = 0);

    // The interface; lives as long as the output.
    EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* Protocol() { return &table_.protocol; }

    Platform& platform;

protected:
    // The calls of the protocol, after the injected faults; each changes the screen and answers the
    // statuses of the standard. Derived outputs call these and do theirs besides. `text` is empty
    // for a null pointer, and is followed by a null otherwise.
    virtual EFI_STATUS Reset(bool extended);
    virtual EFI_STATUS OutputString(std::u16string_view text);
    virtual EFI_STATUS TestString(std::u16string_view text);
    virtual EFI_STATUS SetMode(std::size_t mode);
    virtual EFI_STATUS SetAttribute(UINTN attribute);
    virtual EFI_STATUS ClearScreen();
    virtual EFI_STATUS SetCursorPosition(std::size_t column, std::size_t row);
    virtual EFI_STATUS EnableCursor(bool visible);

    // Begins each call: answers an injected fault.
    virtual std::optional<EFI_STATUS> Enter(const char* member) = 0;

    const char* const callName_;

private:
    struct Table {
        EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL protocol{};
        TextOutput* owner = nullptr;
    };
    static TextOutput& From(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self) {
        return *reinterpret_cast<Table*>(self)->owner;
    }
    struct Calls;

    Table table_;
};

} // namespace sim
