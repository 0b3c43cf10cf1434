// The setup and system passwords.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Asks for the setup password when one is installed. EFI_SUCCESS: accepted or not needed.
EFI_STATUS BdsCheckAdminPassword();
// Asks for the system password; returns only after a correct one.
void BdsCheckSystemPassword();
// Reports the password jumper and a disabled password function.
EFI_STATUS BdsCheckPasswordJumper();
EFI_STATUS BdsCheckPasswordDisabledMessage();

} // namespace kelm
