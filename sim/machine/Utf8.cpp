#include "sim/machine/Utf8.h"

namespace sim::utf8 {

std::optional<char32_t> Next(std::string_view& text) {
    const auto byte = [&](std::size_t i) { return char32_t(static_cast<unsigned char>(text[i])); };
    const char32_t lead = byte(0);
    const std::size_t length = lead < 0x80             ? 1
                               : (lead & 0xE0) == 0xC0 ? 2
                               : (lead & 0xF0) == 0xE0 ? 3
                               : (lead & 0xF8) == 0xF0 ? 4
                                                       : 0;
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    char32_t character = length <= 1 ? lead : lead & (0x7Fu >> length);
    bool good = length != 0 && length <= text.size();
    for (std::size_t i = 1; good && i < length; i++) {
        good = (byte(i) & 0xC0) == 0x80;
        character = character << 6 | (byte(i) & 0x3F);
    }
    good = good && character >= smallest[length] && character <= 0x10FFFF;
    text.remove_prefix(good ? length : 1);
    return good ? std::optional(character) : std::nullopt;
}

void Append(std::string& text, char16_t character) {
    if (character < 0x80) {
        text += char(character);
    } else if (character < 0x800) {
        text += char(0xC0 | character >> 6);
        text += char(0x80 | (character & 0x3F));
    } else {
        text += char(0xE0 | character >> 12);
        text += char(0x80 | (character >> 6 & 0x3F));
        text += char(0x80 | (character & 0x3F));
    }
}

} // namespace sim::utf8
