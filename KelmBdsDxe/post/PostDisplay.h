// Showing what went wrong in POST, and the prompt that may follow.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// `fullCheck`: the phase of POST, which begins with the health of the drivers; otherwise a boot
// attempt, which shows what has been registered since and asks for F1 only. A fatal message stops
// the processor for good. The key that the user pressed is left in gDriver.boot.hotKey. Always
// EFI_SUCCESS.
EFI_STATUS BdsProcessPostErrors(bool fullCheck);

} // namespace kelm
