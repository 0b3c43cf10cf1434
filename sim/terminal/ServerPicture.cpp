#include "sim/terminal/ServerPicture.h"

#include "sim/firmware/Platform.h"
#include "sim/firmware/Screen.h"
#include "sim/siblings/Splash.h"

#include <algorithm>
#include <string_view>

namespace sim {

namespace {

// Rows of the splash screen's lines, counted from the bottom of the screen.
constexpr std::size_t kPromptRow = 11;
constexpr std::size_t kBootTaskRow = 5;
constexpr std::size_t kStatusRow = 3;
constexpr std::size_t kSplashRows = kPromptRow;

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

// Writes a text into the middle of a row that shows nothing.
void PutCentred(Picture& picture, std::size_t row, std::string_view text, std::uint8_t attribute) {
    const std::size_t width = picture.size.columns;
    const auto first = picture.cells.begin() + std::ptrdiff_t(row * width);
    const bool blank = std::all_of(first, first + std::ptrdiff_t(width), [](const auto& cell) {
        return cell.character == u' ' && (cell.attribute & 0xF0) == 0;
    });
    if (!blank) {
        return;
    }
    text = text.substr(0, width);
    auto cell = first + std::ptrdiff_t((width - text.size()) / 2);
    for (const char c : text) {
        *cell++ = {c >= ' ' && c <= '~' ? char16_t(c) : u' ', attribute};
    }
}

void PutSplash(Picture& picture, const Splash& splash) {
    const std::size_t rows = picture.size.rows;
    if (!splash.on || rows < kSplashRows) {
        return;
    }
    for (std::size_t i = 0; i < splash.prompt.size(); i++) {
        PutCentred(picture, rows - kPromptRow + i, splash.prompt[i].text,
                   AttributeOf(splash.prompt[i].type));
    }
    PutCentred(picture, rows - kBootTaskRow, splash.bootTaskText, kStrong);
    PutCentred(picture, rows - kStatusRow, splash.statusLine, kPlain);
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
