// Whether this boot is a UEFI boot or a BIOS (legacy) boot.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Writes gDriver.boot.bootMode. Always EFI_SUCCESS: this system boots in UEFI mode only.
EFI_STATUS BdsGetBootMode();

} // namespace kelm
