// What the keys of a terminal are called on the server's keyboard.
#pragma once

#include "sim/terminal/HostTerminal.h"

#include <optional>

namespace sim {

// A character as the terminal sent it; nothing for one that means no key.
std::optional<Typed> TypedCharacter(char32_t character);
// A character that came right behind an escape: F1-F12 for digits and their neighbours, as on
// serial lines, otherwise the key with Alt.
std::optional<Typed> TypedWithAlt(char32_t character);
// One of the KEY_ codes of curses.
std::optional<Typed> TypedFunctionKey(int code);

} // namespace sim
