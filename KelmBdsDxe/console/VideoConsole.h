// The graphics outputs that serve as consoles.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Adds the chosen video controller's outputs to ConOut and ErrOut.
EFI_STATUS BdsAddVgaToConOut();

} // namespace kelm
