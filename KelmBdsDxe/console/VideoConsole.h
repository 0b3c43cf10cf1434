// The graphics outputs that serve as consoles.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Adds the chosen video controller's outputs to ConOut and ErrOut.
EFI_STATUS BdsAddVgaToConOut();
// Around a boot attempt: says that the onboard video is disabled in setup, and stops it. True when
// it was stopped.
void WarnDisabledOnboardVideo();
bool StopDisabledOnboardVideo();

} // namespace kelm
