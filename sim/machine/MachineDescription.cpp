#include "sim/machine/MachineDescription.h"

#include "library/pure/DevicePathText.h"
#include "library/pure/GuidText.h"
#include "library/pure/StatusText.h"
#include "library/pure/Ucs2.h"
#include "sim/machine/Utf8.h"

#include <fmt/format.h>

namespace sim {

namespace {

constexpr char16_t kReplacement = 0xFFFD;

[[noreturn]] void Fail(const MachineDescription& machine, std::string_view place,
                       std::string_view reason) {
    throw MachineFileError(machine.file, place, reason);
}

const std::string& TextOf(const MachineDescription& machine, const Json& value,
                          std::string_view place) {
    if (!value.is_string()) {
        Fail(machine, place, "must be a string");
    }
    return value.get_ref<const std::string&>();
}

constexpr std::size_t kUnlimited = ~std::size_t{0};

// Each step by itself, so that the steps behind a long one can be seen.
std::string ShownPlace(std::string_view place) {
    std::string shown;
    for (;;) {
        const std::size_t slash = place.find('/');
        shown += Excerpt(place.substr(0, slash));
        if (slash == std::string_view::npos) {
            return shown;
        }
        shown += '/';
        place.remove_prefix(slash + 1);
    }
}

std::string ErrorText(std::string_view file, std::string_view place, std::string_view reason) {
    const std::string where = Excerpt(file, kUnlimited);
    const std::string why = Excerpt(reason, kUnlimited);
    return place.empty() ? fmt::format("{}: {}", where, why)
                         : fmt::format("{}: {}: {}", where, ShownPlace(place), why);
}

} // namespace

MachineFileError::MachineFileError(std::string_view file, std::string_view place,
                                   std::string_view reason)
    : std::runtime_error(ErrorText(file, place, reason)) {}

std::string Excerpt(std::string_view utf8, std::size_t most) {
    std::string shown;
    for (std::size_t characters = 0; !utf8.empty(); characters++) {
        if (characters == most) {
            return shown + "...";
        }
        const std::string_view rest = utf8;
        const auto character = utf8::Next(utf8);
        if (!character) {
            utf8::Append(shown, kReplacement);
        } else if (*character < 0x20 || (*character >= 0x7F && *character < 0xA0)) {
            shown += fmt::format("\\u{:04X}", unsigned(*character));
        } else {
            shown += rest.substr(0, rest.size() - utf8.size());
        }
    }
    return shown;
}

const Json& MachineDescription::At(std::string_view pointer) const {
    static const Json null;
    const Json::json_pointer at{std::string(pointer)};
    return root.contains(at) ? root.at(at) : null;
}

std::uint64_t ReadNumber(const MachineDescription& machine, const Json& value,
                         std::string_view place) {
    if (value.is_number_unsigned() ||
        (value.is_number_integer() && value.get<std::int64_t>() >= 0)) {
        return value.get<std::uint64_t>();
    }
    if (value.is_string()) {
        const std::string_view text = value.get_ref<const std::string&>();
        if (const auto number = kelm::ParseNumber(text); number && text.starts_with("0x")) {
            return *number;
        }
    }
    Fail(machine, place, "must be a number that is not negative, or hexadecimal text (\"0x0C\")");
}

EFI_GUID ReadGuid(const MachineDescription& machine, const Json& value, std::string_view place) {
    const std::string& text = TextOf(machine, value, place);
    if (const auto guid = kelm::GuidFromText(text)) {
        return *guid;
    }
    Fail(machine, place,
         fmt::format("\"{}\" is not a GUID (XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX)", Excerpt(text)));
}

std::vector<std::uint8_t> ReadHex(const MachineDescription& machine, const Json& value,
                                  std::string_view place) {
    std::vector<std::uint8_t> bytes;
    const std::string& text = TextOf(machine, value, place);
    int high = -1; // the first digit of a pair
    for (std::size_t i = 0; i < text.size(); i++) {
        const int digit = kelm::HexDigitValue(text[i]);
        if (digit >= 0 && high >= 0) {
            bytes.push_back(std::uint8_t(high << 4 | digit));
            high = -1;
        } else if (digit >= 0) {
            high = digit;
        } else if (text[i] != ' ' || high >= 0) {
            Fail(machine, place,
                 fmt::format("hexadecimal text goes wrong at character {}: pairs of digits, with "
                             "blanks between them if you like",
                             i + 1));
        }
    }
    if (high >= 0) {
        Fail(machine, place, "hexadecimal text ends with half a byte");
    }
    return bytes;
}

std::u16string ReadText(const MachineDescription& machine, const Json& value,
                        std::string_view place) {
    const std::string& text = TextOf(machine, value, place);
    std::u16string ucs2;
    for (std::string_view rest = text; !rest.empty();) {
        const auto character = utf8::Next(rest);
        if (!character || *character > 0xFFFF || *character == 0) {
            Fail(machine, place, "text may hold the characters U+0001 to U+FFFF");
        }
        ucs2 += char16_t(*character);
    }
    return ucs2;
}

std::vector<std::uint8_t> ReadDevicePath(const MachineDescription& machine, const Json& value,
                                         std::string_view place) {
    const std::u16string text = ReadText(machine, value, place);
    std::vector<std::uint8_t> path(256);
    for (;;) {
        const kelm::DevicePathParse parse = kelm::DevicePathFromText(text, path);
        if (parse.status == EFI_SUCCESS) {
            path.resize(parse.size);
            return path;
        }
        if (parse.status != EFI_BUFFER_TOO_SMALL) {
            Fail(machine, place,
                 fmt::format("device path text goes wrong at character {}: \"{}\"",
                             parse.errorPosition + 1,
                             Excerpt(ToUtf8(std::u16string_view(text).substr(
                                 std::min(parse.errorPosition, text.size()))))));
        }
        path.resize(parse.size);
    }
}

EFI_STATUS ReadStatus(const MachineDescription& machine, const Json& value,
                      std::string_view place) {
    if (value.is_string()) {
        const std::string& text = value.get_ref<const std::string&>();
        if (const auto status = kelm::StatusFromName(text)) {
            return *status;
        }
        Fail(machine, place, fmt::format("there is no status \"{}\"", Excerpt(text)));
    }
    return ReadNumber(machine, value, place);
}

std::u16string ToUcs2(std::string_view utf8) {
    std::u16string ucs2;
    while (!utf8.empty()) {
        const auto character = utf8::Next(utf8);
        ucs2 += character && *character <= 0xFFFF ? char16_t(*character) : kReplacement;
    }
    return ucs2;
}

std::string ToUtf8(std::u16string_view ucs2) {
    std::string utf8;
    for (char16_t unit : ucs2) {
        const bool surrogate = unit >= 0xD800 && unit <= 0xDFFF;
        utf8::Append(utf8, surrogate ? kReplacement : unit);
    }
    return utf8;
}

std::string ToHex(const void* data, std::size_t size) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    std::string text;
    text.reserve(2 * size);
    for (std::size_t i = 0; i < size; i++) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

} // namespace sim
