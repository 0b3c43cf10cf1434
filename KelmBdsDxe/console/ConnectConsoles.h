// Building the console variables and bringing the consoles up.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// The whole sequence: fills the variables from the platform's table, the serial redirection and
// the video, and connects them. EFI_SUCCESS, or the status of the connection.
EFI_STATUS BdsConnectConsoles();

// Connects the console variables and gives the system table a standard-error device when it has
// none. Always EFI_SUCCESS.
EFI_STATUS BdsConnectAllConsoleVariables();

} // namespace kelm
