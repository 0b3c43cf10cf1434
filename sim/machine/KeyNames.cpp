#include "sim/machine/KeyNames.h"

#include "library/pure/Ucs2.h"
#include "sim/machine/MachineDescription.h"

#include <algorithm>
#include <fmt/format.h>
#include <string>

namespace sim {

namespace {

struct NamedKey {
    std::string_view name;
    UINT16 scanCode;
    CHAR16 character;
};

constexpr NamedKey kNamedKeys[] = {
    {"Up", SCAN_UP, 0},
    {"Down", SCAN_DOWN, 0},
    {"Right", SCAN_RIGHT, 0},
    {"Left", SCAN_LEFT, 0},
    {"Home", SCAN_HOME, 0},
    {"End", SCAN_END, 0},
    {"Insert", SCAN_INSERT, 0},
    {"Delete", SCAN_DELETE, 0},
    {"PageUp", SCAN_PAGE_UP, 0},
    {"PageDown", SCAN_PAGE_DOWN, 0},
    {"Esc", SCAN_ESC, 0},
    {"Pause", SCAN_PAUSE, 0},
    {"Enter", SCAN_NULL, CHAR_CARRIAGE_RETURN},
    {"Backspace", SCAN_NULL, CHAR_BACKSPACE},
    {"Tab", SCAN_NULL, CHAR_TAB},
    {"Space", SCAN_NULL, u' '},
    // These stand for characters with a meaning in a list of keys.
    {"Comma", SCAN_NULL, u','},
    {"At", SCAN_NULL, u'@'},
    {"Plus", SCAN_NULL, u'+'},
};

struct Prefix {
    std::string_view name;
    UINT32 state;
};

constexpr Prefix kPrefixes[] = {
    {"Ctrl+", EFI_LEFT_CONTROL_PRESSED},
    {"Alt+", EFI_LEFT_ALT_PRESSED},
    {"Shift+", EFI_LEFT_SHIFT_PRESSED},
};

bool EqualNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return kelm::ToUpperAscii(x) == kelm::ToUpperAscii(y);
    });
}

std::optional<EFI_INPUT_KEY> PlainKey(std::string_view name) {
    const std::u16string text = ToUcs2(name);
    if (text.size() == 1 && text[0] >= u' ' && text[0] != 0xFFFD) {
        return EFI_INPUT_KEY{SCAN_NULL, text[0]};
    }
    for (const NamedKey& key : kNamedKeys) {
        if (EqualNoCase(name, key.name)) {
            return EFI_INPUT_KEY{key.scanCode, key.character};
        }
    }
    if (name.size() >= 2 && name.size() <= 3 && (name[0] == 'F' || name[0] == 'f') &&
        name[1] != '0') {
        const auto number = kelm::ParseDecimal(name.substr(1));
        if (number && *number >= 1 && *number <= 24) {
            const UINT16 first = *number <= 12 ? SCAN_F1 : SCAN_F13;
            const UINT64 index = *number <= 12 ? *number - 1 : *number - 13;
            return EFI_INPUT_KEY{UINT16(first + index), 0};
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<EFI_KEY_DATA> KeyFromName(std::string_view name) {
    UINT32 shift = 0;
    for (bool found = true; found;) {
        found = false;
        for (const Prefix& prefix : kPrefixes) {
            // The last character may be the plus key itself.
            if (name.size() > prefix.name.size() && (shift & prefix.state) == 0 &&
                EqualNoCase(name.substr(0, prefix.name.size()), prefix.name)) {
                name.remove_prefix(prefix.name.size());
                shift |= prefix.state;
                found = true;
            }
        }
    }
    const auto key = PlainKey(name);
    if (!key) {
        return std::nullopt;
    }
    EFI_INPUT_KEY pressed = *key;
    const CHAR16 upper = kelm::ToUpperAscii(pressed.UnicodeChar);
    if ((shift & EFI_LEFT_SHIFT_PRESSED) != 0 && upper >= u'A' && upper <= u'Z') {
        // Shift that went into the character is not reported again.
        pressed.UnicodeChar = upper;
        shift &= ~EFI_LEFT_SHIFT_PRESSED;
    }
    return EFI_KEY_DATA{pressed, {EFI_SHIFT_STATE_VALID | shift, EFI_TOGGLE_STATE_VALID}};
}

Json ParseKeyList(std::string_view list) {
    Json keys = Json::array();
    std::uint64_t at = 0;
    while (!list.empty()) {
        const std::size_t comma = list.find(',');
        const std::string_view entry = list.substr(0, comma);
        list.remove_prefix(comma == std::string_view::npos ? list.size() : comma + 1);
        const std::size_t sign = entry.find('@');
        const std::string_view name = entry.substr(0, sign);
        if (sign != std::string_view::npos) {
            const auto time = kelm::ParseDecimal(entry.substr(sign + 1));
            if (!time || *time > kLatestKeyMilliseconds) {
                throw MachineFileError("--keys", entry,
                                       "the time behind @ must be a number of milliseconds");
            }
            at = *time;
        }
        if (!KeyFromName(name)) {
            throw MachineFileError("--keys", entry, fmt::format("there is no key \"{}\"", name));
        }
        keys.push_back({{"at", at}, {"key", name}});
    }
    return keys;
}

} // namespace sim
