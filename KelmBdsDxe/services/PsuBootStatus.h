// What the power supplies' service makes of the controller's boot status.
#pragma once

#include "uefi/Base.h"

#include <span>

namespace kelm {

// Completes the three status bytes through the service and the IPMI transport. Statuses of the
// lookups or of the service.
EFI_STATUS BdsCompletePsuBootStatus(std::span<UINT8, 3> status);

} // namespace kelm
