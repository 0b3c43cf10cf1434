// The boot option that the operating system named for one boot: the variable BootNext (UEFI 2.10,
// section 3.3).
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Deletes BootNext and launches the option that it named. EFI_SUCCESS: there was no BootNext, or
// the image returned. EFI_NOT_FOUND: it named nothing. Otherwise the launch status.
EFI_STATUS BdsBootNext();
// Deletes BootNext, if there is one.
void BdsDeleteBootNext();

} // namespace kelm
