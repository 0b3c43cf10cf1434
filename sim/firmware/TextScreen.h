// A grid of character cells with colours, a cursor and text modes: what one text output shows
// (UEFI 2.10, section 12.4), with the mode record that loaders may read directly.
//
// It knows nothing of protocols or devices; TextOutput puts the protocol in front of it.
#pragma once

#include "uefi/SimpleTextOutput.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

class TextScreen {
public:
    struct Cell {
        char16_t character = u' ';
        std::uint8_t attribute = 0x07; // foreground in the low four bits, background above
    };
    struct Mode {
        std::size_t columns;
        std::size_t rows;
        bool operator==(const Mode&) const = default;
    };
    static constexpr std::uint8_t kDefaultAttribute = EFI_TEXT_ATTR(EFI_LIGHTGRAY, EFI_BLACK);

    // `modes` must not be empty; the screen begins blank in mode `first`.
    explicit TextScreen(std::vector<Mode> modes, std::size_t first = 0);
    virtual ~TextScreen() = default;
    TextScreen(const TextScreen&) = delete;
    TextScreen& operator=(const TextScreen&) = delete;

    // ---- What a person sees

    std::size_t Columns() const { return Size().columns; }
    std::size_t Rows() const { return Size().rows; }
    // The cell at a place of the current mode.
    const Cell& At(std::size_t column, std::size_t row) const {
        return cells_[row * Columns() + column];
    }
    // One line of UTF-8 per row, trailing blanks cut, empty rows at the end left out.
    std::vector<std::string> Lines() const;
    // The same as one text with line ends, for tests that look for something.
    std::string Text() const;
    // The lines that have left the screen at the top, by scrolling, since the power came on.
    const std::vector<std::string>& ScrolledOff() const { return scrolledOff_; }
    // Everything that was ever written in this boot, scrolled away or not, as UTF-8.
    const std::string& Written() const { return written_; }

    // ---- What an output does with it

    const EFI_SIMPLE_TEXT_OUTPUT_MODE& Record() const { return record_; }
    const std::vector<Mode>& Modes() const { return modes_; }
    const Mode& Size() const { return modes_[std::size_t(record_.Mode)]; }
    // The number of a mode of that size.
    std::optional<std::size_t> ModeOf(const Mode& size) const;

    // Whether screens have a glyph for a character; characters without one are left out when
    // written.
    static bool HasGlyph(char16_t character);
    // Whether a character chooses between narrow and wide glyphs: it is accepted and not written.
    static bool ChoosesFont(char16_t character);
    // Whether every character of a text is a glyph or moves the cursor.
    static bool CanShow(std::u16string_view text);

protected:
    // Other modes from now on; UseMode() must follow.
    void ReplaceModes(std::vector<Mode> modes);
    // Changes the mode, which must exist, and clears the screen.
    void UseMode(std::size_t mode);
    void Clear();
    // Writes, wraps and scrolls. False when a character has no glyph.
    bool Put(std::u16string_view text);

    EFI_SIMPLE_TEXT_OUTPUT_MODE record_{};

private:
    bool Put(char16_t character);
    void NextRow();
    std::string Line(std::size_t row) const;

    std::vector<Mode> modes_;
    std::vector<Cell> cells_;
    std::vector<std::string> scrolledOff_;
    std::string written_;
};

// The text modes that every output has: 80x25, 80x50 and 100x31.
std::vector<TextScreen::Mode> StandardTextModes();

} // namespace sim
