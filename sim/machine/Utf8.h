// UTF-8, one character at a time, for texts that meet UCS-2.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sim::utf8 {

// Takes the first character off `text`, which is not empty. Nothing for a byte that begins no
// well-formed character, which alone is taken off. Surrogates are passed on as they stand.
std::optional<char32_t> Next(std::string_view& text);

// Appends a character of up to U+FFFF.
void Append(std::string& text, char16_t character);

} // namespace sim::utf8
