// The serial redirection settings, one record out of the BIOS settings and what the management
// controller asks for.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

namespace kelm {

struct SERIAL_REDIRECTION_SETTINGS {
    UINTN RedirectionMode;         // 1 on without redirection, 2 COM1, 3 COM2, 5 off, 6 automatic
    UINTN PortAddressMap;          // 1: device 1 on COM1, device 2 on COM2; 2: the reverse
    UINTN ControllerPortSelection; // 1, 2 or 3; 1 when the controller was not asked
    UINTN BaudRateCode;            // 1 115200, 2 57600, 3 19200, 4 9600
    UINTN TerminalType;            // 1 VT100, 2 ANSI
    UINTN RedirAfterBoot;          // 1 enabled, 2 disabled
    UINT8 SettingsValid;           // 1 in a record that was filled
    UINT8 RedirectionPortMatch;    // 1: redirection is on the port that the address setting names
};
static_assert(sizeof(SERIAL_REDIRECTION_SETTINGS) == 56);
static_assert(offsetof(SERIAL_REDIRECTION_SETTINGS, SettingsValid) == 48);

inline constexpr UINTN kTerminalTypeAnsi = 2;

// Fills the record; on an error it is unchanged.
EFI_STATUS GetSerialRedirectionSettings(SERIAL_REDIRECTION_SETTINGS* settings);

} // namespace kelm
