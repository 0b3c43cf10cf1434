#include "sim/firmware/Screen.h"

#include "uefi/BootServices.h"
#include "uefi/SimpleTextInput.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::uint8_t kDefaultAttribute = EFI_TEXT_ATTR(EFI_LIGHTGRAY, EFI_BLACK);
constexpr UINTN kAttributeMask = 0x7F;
// Characters of the HII font protocol that choose between narrow and wide glyphs.
constexpr char16_t kNarrowCharacters = 0xFFF0;
constexpr char16_t kWideCharacters = 0xFFF1;

// What a call with a null text writes: nothing.
std::u16string_view View(const CHAR16* text) {
    return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

} // namespace

Screen::Screen(Platform& platform) : platform_(platform), modes_{{80, 25}, {80, 50}, {100, 31}} {
    const auto size = [&](const char* place, std::size_t fallback) {
        const Json& value = platform.machine.At(place);
        return value.is_null() ? fallback : ReadNumber(platform.machine, value, place);
    };
    const Mode wanted = {size("/console/columns", 80), size("/console/rows", 25)};
    const auto same = [&](const Mode& mode) {
        return mode.columns == wanted.columns && mode.rows == wanted.rows;
    };
    if (std::none_of(modes_.begin(), modes_.end(), same)) {
        modes_.push_back(wanted);
    }
    const auto first = std::find_if(modes_.begin(), modes_.end(), same);

    table_.owner = this;
    table_.protocol = {&Reset,        &OutputString, &TestString,        &QueryMode,    &SetMode,
                       &SetAttribute, &ClearScreen,  &SetCursorPosition, &EnableCursor, &mode_};
    mode_.MaxMode = INT32(modes_.size());
    mode_.Attribute = kDefaultAttribute;
    mode_.CursorVisible = TRUE;
    UseMode(std::size_t(first - modes_.begin()));
}

std::string Screen::Line(std::size_t row) const {
    std::u16string text;
    for (std::size_t column = 0; column < columns_; column++) {
        text += At(column, row).character;
    }
    text.erase(text.find_last_not_of(u' ') + 1);
    return ToUtf8(text);
}

std::vector<std::string> Screen::Lines() const {
    std::vector<std::string> lines;
    for (std::size_t row = 0; row < rows_; row++) {
        lines.push_back(Line(row));
    }
    while (!lines.empty() && lines.back().empty()) {
        lines.pop_back();
    }
    return lines;
}

std::string Screen::Text() const {
    std::string text;
    for (const std::string& line : Lines()) {
        text += line + '\n';
    }
    return text;
}

bool Screen::HasGlyph(char16_t character) {
    const bool control = character < 0x20 || (character >= 0x7F && character < 0xA0);
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    const bool privateUse = character >= 0xE000 && character <= 0xF8FF;
    return !control && !surrogate && !privateUse && character < 0xFFF0;
}

void Screen::UseMode(std::size_t mode) {
    mode_.Mode = INT32(mode);
    columns_ = modes_[mode].columns;
    rows_ = modes_[mode].rows;
    cells_.assign(columns_ * rows_, Cell());
    Blank();
}

void Screen::Blank() {
    std::fill(cells_.begin(), cells_.end(), Cell{u' ', std::uint8_t(mode_.Attribute)});
    mode_.CursorColumn = 0;
    mode_.CursorRow = 0;
}

void Screen::NextRow() {
    if (std::size_t(mode_.CursorRow) + 1 < rows_) {
        mode_.CursorRow++;
        return;
    }
    scrolledOff_.push_back(Line(0));
    std::move(cells_.begin() + std::ptrdiff_t(columns_), cells_.end(), cells_.begin());
    std::fill(cells_.end() - std::ptrdiff_t(columns_), cells_.end(),
              Cell{u' ', std::uint8_t(mode_.Attribute)});
}

bool Screen::Write(char16_t character) {
    switch (character) {
    case CHAR_BACKSPACE:
        mode_.CursorColumn = std::max(mode_.CursorColumn - 1, 0);
        return true;
    case CHAR_LINEFEED:
        NextRow();
        return true;
    case CHAR_CARRIAGE_RETURN:
        mode_.CursorColumn = 0;
        return true;
    default:
        break;
    }
    if (character == kNarrowCharacters || character == kWideCharacters) {
        return true; // they choose a font and are not written
    }
    if (!HasGlyph(character)) {
        return false;
    }
    cells_[std::size_t(mode_.CursorRow) * columns_ + std::size_t(mode_.CursorColumn)] = {
        character, std::uint8_t(mode_.Attribute)};
    if (std::size_t(++mode_.CursorColumn) == columns_) {
        mode_.CursorColumn = 0;
        NextRow();
    }
    return true;
}

void Screen::TraceMode() {
    platform_.trace.Record("screen-mode",
                           {{"mode", mode_.Mode}, {"columns", columns_}, {"rows", rows_}});
}

void Screen::TraceAttribute() {
    platform_.trace.Record("screen-attribute", {{"value", mode_.Attribute}});
}

void Screen::TraceCursor() {
    platform_.trace.Record("screen-cursor", {{"column", mode_.CursorColumn},
                                             {"row", mode_.CursorRow},
                                             {"visible", mode_.CursorVisible != FALSE}});
}

EFI_STATUS EFIAPI Screen::Reset(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, BOOLEAN) {
    Screen& screen = From(self);
    if (auto fault = screen.platform_.EnterService("SimpleTextOutput.Reset", TPL_NOTIFY)) {
        return *fault;
    }
    if (screen.mode_.Attribute != kDefaultAttribute) {
        screen.mode_.Attribute = kDefaultAttribute;
        screen.TraceAttribute();
    }
    if (screen.mode_.Mode != 0) {
        screen.UseMode(0);
        screen.TraceMode();
    }
    screen.Blank();
    screen.platform_.trace.Record("screen-clear");
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Screen::OutputString(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, const CHAR16* text) {
    Screen& screen = From(self);
    if (auto fault = screen.platform_.EnterService("SimpleTextOutput.OutputString", TPL_NOTIFY)) {
        return *fault;
    }
    bool complete = true;
    for (char16_t character : View(text)) {
        complete = screen.Write(character) && complete;
    }
    const std::string utf8 = ToUtf8(View(text));
    screen.written_ += utf8;
    screen.platform_.trace.Record("screen", {{"text", utf8}});
    return complete ? EFI_SUCCESS : EFI_WARN_UNKNOWN_GLYPH;
}

EFI_STATUS EFIAPI Screen::TestString(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, const CHAR16* text) {
    Screen& screen = From(self);
    if (auto fault = screen.platform_.EnterService("SimpleTextOutput.TestString", TPL_NOTIFY)) {
        return *fault;
    }
    const std::u16string_view view = View(text);
    const bool complete = std::all_of(view.begin(), view.end(), [](char16_t character) {
        return HasGlyph(character) || character == CHAR_BACKSPACE || character == CHAR_LINEFEED ||
               character == CHAR_CARRIAGE_RETURN;
    });
    return complete ? EFI_SUCCESS : EFI_UNSUPPORTED;
}

EFI_STATUS EFIAPI Screen::QueryMode(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, UINTN mode,
                                    UINTN* columns, UINTN* rows) {
    Screen& screen = From(self);
    if (auto fault = screen.platform_.EnterService("SimpleTextOutput.QueryMode", TPL_NOTIFY)) {
        return *fault;
    }
    if (mode >= screen.modes_.size()) {
        return EFI_UNSUPPORTED;
    }
    *columns = screen.modes_[mode].columns;
    *rows = screen.modes_[mode].rows;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Screen::SetMode(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, UINTN mode) {
    Screen& screen = From(self);
    if (auto fault = screen.platform_.EnterService("SimpleTextOutput.SetMode", TPL_NOTIFY)) {
        return *fault;
    }
    if (mode >= screen.modes_.size()) {
        return EFI_UNSUPPORTED;
    }
    const bool changed = UINTN(screen.mode_.Mode) != mode;
    screen.UseMode(mode);
    if (changed) {
        screen.TraceMode();
    }
    screen.platform_.trace.Record("screen-clear");
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Screen::SetAttribute(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, UINTN attribute) {
    Screen& screen = From(self);
    if (auto fault = screen.platform_.EnterService("SimpleTextOutput.SetAttribute", TPL_NOTIFY)) {
        return *fault;
    }
    if ((attribute & ~kAttributeMask) != 0) {
        return EFI_UNSUPPORTED;
    }
    if (UINTN(screen.mode_.Attribute) != attribute) {
        screen.mode_.Attribute = INT32(attribute);
        screen.TraceAttribute();
    }
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Screen::ClearScreen(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self) {
    Screen& screen = From(self);
    if (auto fault = screen.platform_.EnterService("SimpleTextOutput.ClearScreen", TPL_NOTIFY)) {
        return *fault;
    }
    screen.Blank();
    screen.platform_.trace.Record("screen-clear");
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Screen::SetCursorPosition(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, UINTN column,
                                            UINTN row) {
    Screen& screen = From(self);
    if (auto fault =
            screen.platform_.EnterService("SimpleTextOutput.SetCursorPosition", TPL_NOTIFY)) {
        return *fault;
    }
    if (column >= screen.columns_ || row >= screen.rows_) {
        return EFI_UNSUPPORTED;
    }
    if (UINTN(screen.mode_.CursorColumn) != column || UINTN(screen.mode_.CursorRow) != row) {
        screen.mode_.CursorColumn = INT32(column);
        screen.mode_.CursorRow = INT32(row);
        screen.TraceCursor();
    }
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Screen::EnableCursor(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* self, BOOLEAN visible) {
    Screen& screen = From(self);
    if (auto fault = screen.platform_.EnterService("SimpleTextOutput.EnableCursor", TPL_NOTIFY)) {
        return *fault;
    }
    if ((screen.mode_.CursorVisible != FALSE) != (visible != FALSE)) {
        screen.mode_.CursorVisible = visible != FALSE ? TRUE : FALSE;
        screen.TraceCursor();
    }
    return EFI_SUCCESS;
}

} // namespace sim
