// The jobs that wait at the controller.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Runs the update job that waits; the body of "[BDS] Process SMA Update Task".
EFI_STATUS BdsProcessSmaUpdateTask();
// Runs the jobs that `flags` selects.
EFI_STATUS BdsProcessSmaJob(UINT32 flags);
// True when the production line does not want reboots.
bool BdsMfgSuppressReboots();

} // namespace kelm
