// The console screen of the machine: a grid of character cells with colours behind the simple text
// output protocol (UEFI 2.10, section 12.4), with a mode record that loaders may read directly.
//
// Modes: 0 is 80x25, 1 is 80x50, 2 is 100x31; when the machine file's "console" asks for another
// size there is a mode 3 of that size. The power comes on in the mode of the machine file's size.
//
// What reaches the screen is traced: `screen` for each text as written, `screen-attribute`,
// `screen-clear`, `screen-cursor` and `screen-mode` when they change something.
#pragma once

#include "sim/firmware/Platform.h"
#include "uefi/SimpleTextOutput.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

class Screen {
public:
    struct Cell {
        char16_t character = u' ';
        std::uint8_t attribute = 0x07; // foreground in the low four bits, background above
    };

    // Reads "console". Throws MachineFileError.
    explicit Screen(Platform& platform);
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    // The interface that ConOut and StdErr name; lives as long as the screen. The core installs it
    // on the console handle. Calls are allowed up to TPL_NOTIFY; injected faults name them
    // "SimpleTextOutput.OutputString" and so on.
    EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* Protocol() { return &table_.protocol; }

    std::size_t Columns() const { return columns_; }
    std::size_t Rows() const { return rows_; }
    // The cell at a place of the current mode.
    const Cell& At(std::size_t column, std::size_t row) const {
        return cells_[row * columns_ + column];
    }
    // What a person sees: one line of UTF-8 per row, trailing blanks cut, empty rows at the end
    // left out.
    std::vector<std::string> Lines() const;
    // The same as one text with line ends, for tests that look for something.
    std::string Text() const;
    // The lines that have left the screen at the top, by scrolling, since the power came on.
    const std::vector<std::string>& ScrolledOff() const { return scrolledOff_; }
    // Everything that was ever written in this boot, scrolled away or not, as UTF-8.
    const std::string& Written() const { return written_; }

    // Whether the console has a glyph for a character; characters without one are left out when
    // written.
    static bool HasGlyph(char16_t character);

private:
    struct Mode {
        std::size_t columns;
        std::size_t rows;
    };
    struct Table {
        EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL protocol{};
        Screen* owner = nullptr;
    };
    static Screen& From(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self) {
        return *reinterpret_cast<Table*>(self)->owner;
    }

    static EFI_STATUS EFIAPI Reset(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, BOOLEAN extended);
    static EFI_STATUS EFIAPI OutputString(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self,
                                          const CHAR16* text);
    static EFI_STATUS EFIAPI TestString(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, const CHAR16* text);
    static EFI_STATUS EFIAPI QueryMode(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, UINTN mode,
                                       UINTN* columns, UINTN* rows);
    static EFI_STATUS EFIAPI SetMode(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, UINTN mode);
    static EFI_STATUS EFIAPI SetAttribute(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, UINTN attribute);
    static EFI_STATUS EFIAPI ClearScreen(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self);
    static EFI_STATUS EFIAPI SetCursorPosition(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, UINTN column,
                                               UINTN row);
    static EFI_STATUS EFIAPI EnableCursor(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, BOOLEAN visible);

    void UseMode(std::size_t mode);
    void Blank();
    bool Write(char16_t character); // false when there is no glyph
    void NextRow();
    std::string Line(std::size_t row) const;
    void TraceMode();
    void TraceAttribute();
    void TraceCursor();

    Platform& platform_;
    Table table_;
    EFI_SIMPLE_TEXT_OUTPUT_MODE mode_{};
    std::vector<Mode> modes_;
    std::size_t columns_ = 80;
    std::size_t rows_ = 25;
    std::vector<Cell> cells_;
    std::vector<std::string> scrolledOff_;
    std::string written_;
};

} // namespace sim
