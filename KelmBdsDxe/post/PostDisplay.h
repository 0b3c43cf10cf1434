// Showing the registered POST messages, and the F1/F2 prompt.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// `fullCheck`: the phase of POST; otherwise a boot attempt, which asks for F1 only.
EFI_STATUS BdsProcessPostErrors(bool fullCheck);

} // namespace kelm
