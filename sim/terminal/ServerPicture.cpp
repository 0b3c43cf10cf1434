#include "sim/terminal/ServerPicture.h"

#include "sim/firmware/Platform.h"
#include "sim/firmware/Screen.h"
#include "sim/siblings/Splash.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace sim {

namespace {

// Rows of the splash screen's lines, counted from the bottom of the screen.
constexpr std::size_t kPromptRow = 11;
constexpr std::size_t kBootTaskRow = 5;
constexpr std::size_t kStatusRow = 3;
constexpr std::size_t kSplashRows = kPromptRow;
constexpr std::size_t kTabStop = 4;

constexpr std::uint8_t kPlain = EFI_TEXT_ATTR(EFI_LIGHTGRAY, EFI_BLACK);
constexpr std::uint8_t kStrong = EFI_TEXT_ATTR(EFI_WHITE, EFI_BLACK);
constexpr std::uint8_t kTaken = EFI_TEXT_ATTR(EFI_YELLOW, EFI_BLACK);

std::uint8_t AttributeOf(UINT8 lineType) {
    switch (lineType) {
    case kSplashLineKeyOffered:
        return kStrong;
    case kSplashLineKeyTaken:
        return kTaken;
    default:
        return kPlain;
    }
}

// The splash screen's texts are set in columns by tabs.
std::string WithBlanks(std::string_view text) {
    std::string blanks;
    for (const char c : text) {
        blanks += c >= ' ' && c <= '~' ? c : ' ';
        while (c == '\t' && blanks.size() % kTabStop != 0) {
            blanks += ' ';
        }
    }
    return blanks;
}

// Where a text of this length stands so that it is in the middle of its row.
std::size_t CentralColumn(const Picture& picture, std::size_t length) {
    return (picture.size.columns - std::min(length, picture.size.columns)) / 2;
}

// Writes a text from a column on into a row that shows nothing.
void Put(Picture& picture, std::size_t row, std::size_t column, std::string_view text,
         std::uint8_t attribute) {
    const std::size_t width = picture.size.columns;
    const auto first = picture.cells.begin() + std::ptrdiff_t(row * width);
    const bool blank = std::all_of(first, first + std::ptrdiff_t(width), [](const auto& cell) {
        return cell.character == u' ' && (cell.attribute & 0xF0) == 0;
    });
    if (!blank) {
        return;
    }
    auto cell = first + std::ptrdiff_t(column);
    for (const char c : text.substr(0, width - column)) {
        *cell++ = {char16_t(c), attribute};
    }
}

void PutSplash(Picture& picture, const Splash& splash) {
    const std::size_t rows = picture.size.rows;
    if (!splash.on || rows < kSplashRows) {
        return;
    }
    // The lines of the prompt are laid out among themselves, in columns.
    std::size_t longest = 0;
    for (const Splash::PromptLine& line : splash.prompt) {
        longest = std::max(longest, WithBlanks(line.text).size());
    }
    const std::size_t promptColumn = CentralColumn(picture, longest);
    for (std::size_t i = 0; i < splash.prompt.size(); i++) {
        Put(picture, rows - kPromptRow + i, promptColumn, WithBlanks(splash.prompt[i].text),
            AttributeOf(splash.prompt[i].type));
    }
    Put(picture, rows - kBootTaskRow, CentralColumn(picture, splash.bootTaskText.size()),
        WithBlanks(splash.bootTaskText), kStrong);
    Put(picture, rows - kStatusRow, CentralColumn(picture, splash.statusLine.size()),
        WithBlanks(splash.statusLine), kPlain);
}

} // namespace

Picture PictureOf(Platform& platform) {
    const Screen& screen = *platform.screen;
    Picture picture;
    picture.size = screen.Size();
    for (std::size_t row = 0; row < screen.Rows(); row++) {
        for (std::size_t column = 0; column < screen.Columns(); column++) {
            picture.cells.push_back(screen.At(column, row));
        }
    }
    const EFI_SIMPLE_TEXT_OUTPUT_MODE& record = screen.Record();
    picture.cursorColumn = std::size_t(record.CursorColumn);
    picture.cursorRow = std::size_t(record.CursorRow);
    picture.cursorVisible = record.CursorVisible != FALSE;
    PutSplash(picture, platform.Get<Splash>());
    return picture;
}

} // namespace sim
