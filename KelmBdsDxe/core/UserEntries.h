// The interactive functions of the firmware that a user or the controller can ask for.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Enters setup; returns when the user leaves it.
EFI_STATUS BdsEnterSetup();
// Enters the boot manager; returns when the user leaves it.
EFI_STATUS BdsEnterBootManager();

} // namespace kelm
