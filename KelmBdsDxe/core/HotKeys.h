// The POST hot keys: F2 setup, F10 Forgeline, F11 boot manager, F12 PXE boot, Esc to cancel.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Starts collecting keys.
EFI_STATUS BdsHotkeyEnable();
// Stops collecting keys, at the earliest 4 seconds after the first keyboard appeared.
EFI_STATUS BdsHotkeyStop();
// Acts on the key that was pressed.
EFI_STATUS BdsProcessHotKeys();
// Draws and clears the prompt lines on the splash screen.
EFI_STATUS BdsUpdateHotKeyPrompt();
EFI_STATUS BdsClearHotKeyPrompt();

} // namespace kelm
