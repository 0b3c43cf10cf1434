#include "sim/terminal/TerminalKeys.h"

#include "sim/machine/MachineDescription.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>

#define NCURSES_NOMACROS
#include <curses.h>

namespace sim {

namespace {

constexpr char32_t kControl = 0x20; // control characters are below
constexpr char32_t kEscape = 0x1B;
constexpr int kMostFunctionKeys = 24;

struct NamedCharacter {
    char32_t character;
    std::string_view key; // empty to quit
};

constexpr NamedCharacter kNamedCharacters[] = {
    {'\r', "Enter"},     {'\n', "Enter"},   {'\t', "Tab"},  {'\b', "Backspace"},
    {0x7F, "Backspace"}, {kEscape, "Esc"},  {' ', "Space"}, {'P' - 0x40, "Pause"},
    {']' - 0x40, ""},    {'\\' - 0x40, ""},
};

// Terminals keep some function keys for themselves.
constexpr std::u32string_view kFunctionKeysWithAlt = U"1234567890!@";

struct NamedCode {
    int code;
    std::string_view key;
};

constexpr NamedCode kNamedCodes[] = {
    {KEY_UP, "Up"},          {KEY_DOWN, "Down"},           {KEY_LEFT, "Left"},
    {KEY_RIGHT, "Right"},    {KEY_HOME, "Home"},           {KEY_END, "End"},
    {KEY_FIND, "Home"},      {KEY_SELECT, "End"},          {KEY_PPAGE, "PageUp"},
    {KEY_NPAGE, "PageDown"}, {KEY_IC, "Insert"},           {KEY_DC, "Delete"},
    {KEY_ENTER, "Enter"},    {KEY_BACKSPACE, "Backspace"},
};

} // namespace

std::optional<Typed> TypedCharacter(char32_t character) {
    const auto named =
        std::find_if(std::begin(kNamedCharacters), std::end(kNamedCharacters),
                     [&](const NamedCharacter& entry) { return entry.character == character; });
    if (named != std::end(kNamedCharacters)) {
        return Typed{std::string(named->key)};
    }
    if (character >= 1 && character <= 26) {
        return Typed{fmt::format("Ctrl+{}", char('a' + character - 1))};
    }
    if (character < kControl || character > 0xFFFF || !TextScreen::HasGlyph(char16_t(character))) {
        return std::nullopt;
    }
    return Typed{ToUtf8(std::u16string(1, char16_t(character)))};
}

std::optional<Typed> TypedWithAlt(char32_t character) {
    const std::size_t number = kFunctionKeysWithAlt.find(character);
    if (number != std::u32string_view::npos) {
        return Typed{fmt::format("F{}", number + 1)};
    }
    std::optional<Typed> typed = TypedCharacter(character);
    if (typed && !typed->Quits()) {
        typed->key.insert(0, "Alt+");
    }
    return typed;
}

std::optional<Typed> TypedFunctionKey(int code) {
    if (code > KEY_F0 && code <= KEY_F(kMostFunctionKeys)) {
        return Typed{fmt::format("F{}", code - KEY_F0)};
    }
    const auto named = std::find_if(std::begin(kNamedCodes), std::end(kNamedCodes),
                                    [&](const NamedCode& entry) { return entry.code == code; });
    return named == std::end(kNamedCodes) ? std::nullopt
                                          : std::optional(Typed{std::string(named->key)});
}

} // namespace sim
