// The engine of the jobs that the controller has queued. Each routine logs a missing service and
// returns the lookup's status.
#pragma once

#include "kelm/SmaJobProtocol.h"
#include "uefi/Base.h"

namespace kelm {

// Runs the jobs that the kSmaProcess... flags select.
EFI_STATUS BdsSmaProcessJob(UINT32 flags);
// Reads the pending jobs into *mask (SmaJobType bits; 0 without the service). True when any waits.
bool BdsSmaGetPendingJobs(UINT32* mask);
EFI_STATUS BdsSmaSendSmbios();
EFI_STATUS BdsSmaSendScp();

} // namespace kelm
