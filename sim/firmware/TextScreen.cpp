#include "sim/firmware/TextScreen.h"

#include "sim/machine/MachineDescription.h"
#include "uefi/SimpleTextInput.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

// Characters of the HII font protocol that choose between narrow and wide glyphs.
constexpr char16_t kNarrowCharacters = 0xFFF0;
constexpr char16_t kWideCharacters = 0xFFF1;

bool MovesCursor(char16_t character) {
    return character == CHAR_BACKSPACE || character == CHAR_LINEFEED ||
           character == CHAR_CARRIAGE_RETURN;
}

} // namespace

std::vector<TextScreen::Mode> StandardTextModes() {
    return {{80, 25}, {80, 50}, {100, 31}};
}

TextScreen::TextScreen(std::vector<Mode> modes, std::size_t first) {
    record_.Attribute = kDefaultAttribute;
    record_.CursorVisible = TRUE;
    ReplaceModes(std::move(modes));
    UseMode(first);
}

std::string TextScreen::Line(std::size_t row) const {
    std::u16string text;
    for (std::size_t column = 0; column < Columns(); column++) {
        text += At(column, row).character;
    }
    text.erase(text.find_last_not_of(u' ') + 1);
    return ToUtf8(text);
}

std::vector<std::string> TextScreen::Lines() const {
    std::vector<std::string> lines;
    for (std::size_t row = 0; row < Rows(); row++) {
        lines.push_back(Line(row));
    }
    while (!lines.empty() && lines.back().empty()) {
        lines.pop_back();
    }
    return lines;
}

std::string TextScreen::Text() const {
    std::string text;
    for (const std::string& line : Lines()) {
        text += line + '\n';
    }
    return text;
}

std::optional<std::size_t> TextScreen::ModeOf(const Mode& size) const {
    const auto found = std::find(modes_.begin(), modes_.end(), size);
    return found == modes_.end() ? std::nullopt
                                 : std::optional(std::size_t(found - modes_.begin()));
}

bool TextScreen::HasGlyph(char16_t character) {
    const bool control = character < 0x20 || (character >= 0x7F && character < 0xA0);
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    const bool privateUse = character >= 0xE000 && character <= 0xF8FF;
    return !control && !surrogate && !privateUse && character < 0xFFF0;
}

bool TextScreen::ChoosesFont(char16_t character) {
    return character == kNarrowCharacters || character == kWideCharacters;
}

bool TextScreen::CanShow(std::u16string_view text) {
    return std::all_of(text.begin(), text.end(), [](char16_t character) {
        return HasGlyph(character) || MovesCursor(character);
    });
}

void TextScreen::ReplaceModes(std::vector<Mode> modes) {
    modes_ = std::move(modes);
    record_.MaxMode = INT32(modes_.size());
}

void TextScreen::UseMode(std::size_t mode) {
    record_.Mode = INT32(mode);
    cells_.assign(Columns() * Rows(), Cell());
    Clear();
}

void TextScreen::Clear() {
    std::fill(cells_.begin(), cells_.end(), Cell{u' ', std::uint8_t(record_.Attribute)});
    record_.CursorColumn = 0;
    record_.CursorRow = 0;
}

void TextScreen::NextRow() {
    if (std::size_t(record_.CursorRow) + 1 < Rows()) {
        record_.CursorRow++;
        return;
    }
    scrolledOff_.push_back(Line(0));
    const auto width = std::ptrdiff_t(Columns());
    std::move(cells_.begin() + width, cells_.end(), cells_.begin());
    std::fill(cells_.end() - width, cells_.end(), Cell{u' ', std::uint8_t(record_.Attribute)});
}

bool TextScreen::Put(char16_t character) {
    switch (character) {
    case CHAR_BACKSPACE:
        record_.CursorColumn = std::max(record_.CursorColumn - 1, 0);
        return true;
    case CHAR_LINEFEED:
        NextRow();
        return true;
    case CHAR_CARRIAGE_RETURN:
        record_.CursorColumn = 0;
        return true;
    default:
        break;
    }
    if (!HasGlyph(character)) {
        return ChoosesFont(character);
    }
    cells_[std::size_t(record_.CursorRow) * Columns() + std::size_t(record_.CursorColumn)] = {
        character, std::uint8_t(record_.Attribute)};
    if (std::size_t(++record_.CursorColumn) == Columns()) {
        record_.CursorColumn = 0;
        NextRow();
    }
    return true;
}

bool TextScreen::Put(std::u16string_view text) {
    bool complete = true;
    for (char16_t character : text) {
        complete = Put(character) && complete;
    }
    written_ += ToUtf8(text);
    return complete;
}

} // namespace sim
