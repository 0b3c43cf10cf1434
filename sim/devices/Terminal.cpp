#include "sim/devices/Terminal.h"

#include "library/pure/DevicePath.h"
#include "sim/devices/Devices.h"
#include "uefi/SimpleTextInput.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace sim {

namespace {

constexpr const char* kResetSequence = "\x1b[=3h"; // 80x25 in colours
constexpr const char* kClearSequence = "\x1b[2J\x1b[01;01H";

// Characters beyond ASCII: their byte in code page 437, and what stands for them where there is
// nothing like them.
struct Graphic {
    char16_t character;
    char ansi;
    char ascii;
};
constexpr Graphic kGraphics[] = {
    {BOXDRAW_HORIZONTAL, '\xC4', '-'},
    {BOXDRAW_VERTICAL, '\xB3', '|'},
    {BOXDRAW_DOWN_RIGHT, '\xDA', '/'},
    {BOXDRAW_DOWN_LEFT, '\xBF', '\\'},
    {BOXDRAW_UP_RIGHT, '\xC0', '\\'},
    {BOXDRAW_UP_LEFT, '\xD9', '/'},
    {BOXDRAW_VERTICAL_RIGHT, '\xC3', '|'},
    {BOXDRAW_VERTICAL_LEFT, '\xB4', '|'},
    {BOXDRAW_DOWN_HORIZONTAL, '\xC2', '+'},
    {BOXDRAW_UP_HORIZONTAL, '\xC1', '+'},
    {BOXDRAW_VERTICAL_HORIZONTAL, '\xC5', '+'},
    {BOXDRAW_DOUBLE_HORIZONTAL, '\xCD', '-'},
    {BOXDRAW_DOUBLE_VERTICAL, '\xBA', '|'},
    {BOXDRAW_DOWN_RIGHT_DOUBLE, '\xD5', '/'},
    {BOXDRAW_DOWN_DOUBLE_RIGHT, '\xD6', '/'},
    {BOXDRAW_DOUBLE_DOWN_RIGHT, '\xC9', '/'},
    {BOXDRAW_DOWN_LEFT_DOUBLE, '\xB8', '\\'},
    {BOXDRAW_DOWN_DOUBLE_LEFT, '\xB7', '\\'},
    {BOXDRAW_DOUBLE_DOWN_LEFT, '\xBB', '\\'},
    {BOXDRAW_UP_RIGHT_DOUBLE, '\xD4', '\\'},
    {BOXDRAW_UP_DOUBLE_RIGHT, '\xD3', '\\'},
    {BOXDRAW_DOUBLE_UP_RIGHT, '\xC8', '\\'},
    {BOXDRAW_UP_LEFT_DOUBLE, '\xBE', '/'},
    {BOXDRAW_UP_DOUBLE_LEFT, '\xBD', '/'},
    {BOXDRAW_DOUBLE_UP_LEFT, '\xBC', '/'},
    {BOXDRAW_VERTICAL_RIGHT_DOUBLE, '\xC6', '|'},
    {BOXDRAW_VERTICAL_DOUBLE_RIGHT, '\xC7', '|'},
    {BOXDRAW_DOUBLE_VERTICAL_RIGHT, '\xCC', '|'},
    {BOXDRAW_VERTICAL_LEFT_DOUBLE, '\xB5', '|'},
    {BOXDRAW_VERTICAL_DOUBLE_LEFT, '\xB6', '|'},
    {BOXDRAW_DOUBLE_VERTICAL_LEFT, '\xB9', '|'},
    {BOXDRAW_DOWN_HORIZONTAL_DOUBLE, '\xD1', '+'},
    {BOXDRAW_DOWN_DOUBLE_HORIZONTAL, '\xD2', '+'},
    {BOXDRAW_DOUBLE_DOWN_HORIZONTAL, '\xCB', '+'},
    {BOXDRAW_UP_HORIZONTAL_DOUBLE, '\xCF', '+'},
    {BOXDRAW_UP_DOUBLE_HORIZONTAL, '\xD0', '+'},
    {BOXDRAW_DOUBLE_UP_HORIZONTAL, '\xCA', '+'},
    {BOXDRAW_VERTICAL_HORIZONTAL_DOUBLE, '\xD8', '+'},
    {BOXDRAW_VERTICAL_DOUBLE_HORIZONTAL, '\xD7', '+'},
    {BOXDRAW_DOUBLE_VERTICAL_HORIZONTAL, '\xCE', '+'},
    {BLOCKELEMENT_FULL_BLOCK, '\xDB', '*'},
    {BLOCKELEMENT_LIGHT_SHADE, '\xB0', '+'},
    {GEOMETRICSHAPE_UP_TRIANGLE, '\x1E', '^'},
    {GEOMETRICSHAPE_RIGHT_TRIANGLE, '\x10', '>'},
    {GEOMETRICSHAPE_DOWN_TRIANGLE, '\x1F', 'v'},
    {GEOMETRICSHAPE_LEFT_TRIANGLE, '\x11', '<'},
    // The byte of the left arrow begins an escape sequence.
    {ARROW_LEFT, '<', '<'},
    {ARROW_UP, '\x18', '^'},
    {ARROW_RIGHT, '\x1A', '>'},
    {ARROW_DOWN, '\x19', 'v'},
};

constexpr char16_t kNoSuchCharacter = u'?';

bool IsPlain(char16_t character) {
    return (character >= u' ' && character <= u'~') || character == CHAR_BACKSPACE ||
           character == CHAR_LINEFEED || character == CHAR_CARRIAGE_RETURN;
}

// Colours of the standard in the order of the escape sequences' numbers: black, red, green, ...
char ColourDigit(UINTN colour) {
    constexpr char kDigits[] = {'0', '4', '2', '6', '1', '5', '3', '7'};
    return kDigits[colour & 7];
}

constexpr VENDOR_DEVICE_PATH kDefaultNode = {
    {kDevicePathTypeMessaging, kMessagingSubTypeVendor, {sizeof(VENDOR_DEVICE_PATH), 0}},
    gEfiPcAnsiGuid};

} // namespace

std::optional<TerminalKind> TerminalKindOf(const EFI_DEVICE_PATH_PROTOCOL* node) {
    const auto* vendor =
        kelm::NodeAs<VENDOR_DEVICE_PATH>(node, kDevicePathTypeMessaging, kMessagingSubTypeVendor);
    if (vendor == nullptr || kelm::NodeLength(node) != sizeof *vendor) {
        return std::nullopt;
    }
    const EFI_GUID guid = vendor->Guid;
    if (guid == gEfiPcAnsiGuid) {
        return TerminalKind::PcAnsi;
    }
    if (guid == gEfiVT100Guid) {
        return TerminalKind::Vt100;
    }
    if (guid == gEfiVT100PlusGuid) {
        return TerminalKind::Vt100Plus;
    }
    if (guid == gEfiVTUTF8Guid) {
        return TerminalKind::VtUtf8;
    }
    return std::nullopt;
}

std::span<const std::uint8_t> DefaultTerminalNode() {
    return kelm::NodeBytes(&kDefaultNode.Header);
}

Terminal::Terminal(Device& owner, TerminalKind kind)
    : TextDevice(owner, owner.devices.platform, "Terminal", StandardTextModes()), kind_(kind) {}

void Terminal::Connect(EFI_SERIAL_IO_PROTOCOL* port) {
    port_ = port;
    static_cast<void>(TextDevice::Reset(false));
    record_.CursorVisible = TRUE;
}

std::optional<char16_t> Terminal::Encode(char16_t character, std::string& bytes) const {
    if (IsPlain(character)) {
        bytes += char(character);
        return character;
    }
    if (kind_ == TerminalKind::VtUtf8 && HasGlyph(character)) {
        bytes += ToUtf8(std::u16string_view(&character, 1));
        return character;
    }
    const auto* graphic =
        std::find_if(std::begin(kGraphics), std::end(kGraphics),
                     [&](const Graphic& row) { return row.character == character; });
    if (graphic == std::end(kGraphics)) {
        return std::nullopt;
    }
    if (kind_ == TerminalKind::PcAnsi) {
        bytes += graphic->ansi;
        return character;
    }
    bytes += graphic->ascii;
    return char16_t(graphic->ascii);
}

// Sends what stands in bytes_.
EFI_STATUS Terminal::Send(EFI_STATUS own) {
    UINTN size = bytes_.size();
    const EFI_STATUS status = port_->Write(port_, &size, bytes_.data());
    return EFI_ERROR(status) ? EFI_DEVICE_ERROR : own;
}

EFI_STATUS Terminal::Reset(bool extended) {
    static_cast<void>(TextDevice::Reset(extended));
    bytes_ = fmt::format("\x1b[0;37;40m{}{}", kResetSequence, kClearSequence);
    return Send(EFI_SUCCESS);
}

EFI_STATUS Terminal::OutputString(std::u16string_view text) {
    bytes_.clear();
    shown_.clear();
    bool complete = true;
    for (char16_t character : text) {
        if (!HasGlyph(character) && !IsPlain(character)) {
            complete = complete && ChoosesFont(character);
            continue; // no screen shows anything for it
        }
        const auto shown = Encode(character, bytes_);
        if (!shown) {
            bytes_ += char(kNoSuchCharacter);
            complete = false;
        }
        shown_ += shown.value_or(kNoSuchCharacter);
    }
    static_cast<void>(TextDevice::OutputString(shown_));
    return Send(complete ? EFI_SUCCESS : EFI_WARN_UNKNOWN_GLYPH);
}

EFI_STATUS Terminal::TestString(std::u16string_view text) {
    std::string ignored;
    const bool complete = std::all_of(text.begin(), text.end(), [&](char16_t character) {
        return Encode(character, ignored).has_value();
    });
    return complete ? EFI_SUCCESS : EFI_UNSUPPORTED;
}

EFI_STATUS Terminal::SetMode(std::size_t mode) {
    static_cast<void>(TextDevice::SetMode(mode));
    bytes_ = fmt::format("{}{}", kResetSequence, kClearSequence);
    return Send(EFI_SUCCESS);
}

EFI_STATUS Terminal::SetAttribute(UINTN attribute) {
    static_cast<void>(TextDevice::SetAttribute(attribute));
    bytes_ = fmt::format("\x1b[0;{}3{};4{}m", (attribute & EFI_BRIGHT) != 0 ? "1;" : "",
                         ColourDigit(attribute), ColourDigit(attribute >> 4));
    return Send(EFI_SUCCESS);
}

EFI_STATUS Terminal::ClearScreen() {
    static_cast<void>(TextDevice::ClearScreen());
    bytes_ = kClearSequence;
    return Send(EFI_SUCCESS);
}

EFI_STATUS Terminal::SetCursorPosition(std::size_t column, std::size_t row) {
    static_cast<void>(TextDevice::SetCursorPosition(column, row));
    bytes_ = fmt::format("\x1b[{:02};{:02}H", row + 1, column + 1);
    return Send(EFI_SUCCESS);
}

EFI_STATUS Terminal::EnableCursor(bool visible) {
    static_cast<void>(TextDevice::EnableCursor(visible));
    if (kind_ == TerminalKind::PcAnsi) {
        return EFI_SUCCESS; // has no sequence for it
    }
    bytes_ = visible ? "\x1b[?25h" : "\x1b[?25l";
    return Send(EFI_SUCCESS);
}

} // namespace sim
