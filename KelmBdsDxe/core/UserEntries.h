// The interactive functions of the firmware that a user or the controller can ask for, and the
// requests of the user and of the controller to boot something else than usual.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Enters setup; returns when the user leaves it. EFI_NOT_FOUND: there is none. EFI_ACCESS_DENIED:
// the password was wrong or the configuration is locked, and the platform keeps such users out.
// Otherwise the status of the setup browser.
EFI_STATUS BdsEnterSetup();
// Enters the boot manager; returns when the user leaves it, perhaps after boot attempts.
// EFI_NOT_FOUND: there is none. Otherwise the status of the password check or of the boot manager.
EFI_STATUS BdsEnterBootManager();
// Enters the diagnostics; returns when the user leaves them. EFI_NOT_FOUND: there are none.
// Otherwise their status.
EFI_STATUS BdsEnterDiags();

// Boots from the network: every PXE device of the boot order, one after another. Returns when none
// of them took the machine; gDriver.launch.lastBootResult tells the next prompt when there was
// none.
void BdsBootPxe();

} // namespace kelm
