// A terminal behind a serial port: what is written to it goes out of the port as the bytes of its
// kind, with escape sequences for the cursor, the colours and clearing. Its screen is what somebody
// sees who is connected to the port.
#pragma once

#include "sim/devices/TextDevice.h"
#include "uefi/SerialIo.h"

#include <optional>
#include <span>
#include <string>

namespace sim {

enum class TerminalKind { PcAnsi, Vt100, Vt100Plus, VtUtf8 };

// The kind that a vendor node of a device path names; nothing for any other node.
std::optional<TerminalKind> TerminalKindOf(const EFI_DEVICE_PATH_PROTOCOL* node);
// The node of the kind that terminals have unless a path says otherwise: PC-ANSI.
std::span<const std::uint8_t> DefaultTerminalNode();

class Terminal final : public TextDevice {
public:
    Terminal(Device& owner, TerminalKind kind);

    // Writes to this port from now on; the screen is blank and in mode 0.
    void Connect(EFI_SERIAL_IO_PROTOCOL* port);

protected:
    EFI_STATUS Reset(bool extended) override;
    EFI_STATUS OutputString(std::u16string_view text) override;
    EFI_STATUS TestString(std::u16string_view text) override;
    EFI_STATUS SetMode(std::size_t mode) override;
    EFI_STATUS SetAttribute(UINTN attribute) override;
    EFI_STATUS ClearScreen() override;
    EFI_STATUS SetCursorPosition(std::size_t column, std::size_t row) override;
    EFI_STATUS EnableCursor(bool visible) override;

private:
    // What the terminal shows for a character, with its bytes added to `bytes`; nothing when it has
    // nothing like it.
    std::optional<char16_t> Encode(char16_t character, std::string& bytes) const;
    EFI_STATUS Send(EFI_STATUS own);

    const TerminalKind kind_;
    EFI_SERIAL_IO_PROTOCOL* port_ = nullptr;
    // Of the call that runs; members, because a write may end the boot.
    std::string bytes_;
    std::u16string shown_;
};

} // namespace sim
