// The DXE protocol whose installation, with a null interface, announces that system management mode
// is about to be locked (PI 1.8, volume 4, section 5.6).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiDxeSmmReadyToLockProtocolGuid = {
    0x60FF8964, 0xE906, 0x41D0, {0xAF, 0xED, 0xF2, 0x41, 0xE9, 0x74, 0xE0, 0x8E}};
