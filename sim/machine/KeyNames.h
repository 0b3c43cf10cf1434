// Names of keys, as machine files, the command line and traces spell them.
//
// F1-F24, Up, Down, Left, Right, Home, End, PageUp, PageDown, Insert, Delete, Esc, Enter,
// Backspace, Tab, Space, Pause, Comma, At, Plus, or one character as typed; with any of the
// prefixes Ctrl+, Alt+ and Shift+. Names and prefixes do not depend on case ("esc", "CTRL+c");
// single characters do.
#pragma once

#include "sim/trace/Trace.h"
#include "uefi/SimpleTextInput.h"

#include <optional>
#include <string_view>

namespace sim {

// The latest time of a scheduled key, in milliseconds: eleven days.
inline constexpr std::uint64_t kLatestKeyMilliseconds = 1'000'000'000;

// What a keyboard reports for a key through the extended protocol; nothing when there is no such
// key.
std::optional<EFI_KEY_DATA> KeyFromName(std::string_view name);

// A list as the command line takes it, "F2@1500,Enter@2000" (milliseconds since power-on), as the
// machine file's "keys" has it: [{"at": 1500, "key": "F2"}, ...]. A key without a time comes with
// the one before it. Throws MachineFileError naming the entry.
Json ParseKeyList(std::string_view list);

} // namespace sim
