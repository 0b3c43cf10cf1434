// Small policies of the board.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Answers a virtual power-cycle request; `fullPowerCycle`: a setting asks for one, too.
EFI_STATUS BdsCheckVacRequest(bool fullPowerCycle);
EFI_STATUS BdsSetNumLock();
// 0 when the memory test is turned off, 1 otherwise.
EFI_STATUS BdsGetMemTest(UINT32* setting);

} // namespace kelm
