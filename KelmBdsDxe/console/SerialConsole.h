// The redirected serial console in the console variables.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Prepares the serial terminal's device path; true when redirection is active.
bool BdsSetupSerialConsoleDevicePath();
// Places the serial terminal in the console variables, or removes it.
void BdsUpdateSerialConsole(bool redirectionActive);
// Runs after the consoles are connected; `terminalDetect`: 1 when a terminal was found.
void BdsSerialConsolePostConnect(bool redirectionActive, UINT8 terminalDetect);
// 1: a redirection terminal is the console of the setup browser; 0: it is not.
EFI_STATUS SetBrowserMode(UINT8 value);

} // namespace kelm
