// The health of the UEFI drivers (UEFI 2.10, section 11.10): what they report is shown, and what
// they ask for is done.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Asks every driver that can tell, shows what is wrong, registers a POST message about it, has the
// controllers repaired (post/DriverRepair.h) and signals the hook point for that. Notes in
// gDriver.post when the prompt is wanted. EFI_NOT_FOUND: there is no device location service, or no
// driver that can tell. EFI_OUT_OF_RESOURCES: no memory for what they say; nothing was shown or
// repaired.
EFI_STATUS BdsReportDriverHealth();

} // namespace kelm
