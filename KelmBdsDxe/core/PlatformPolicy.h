// The platform policy service, kept for the driver's life once it has been found.
#pragma once

#include "kelm/PlatformPolicyProtocol.h"

namespace kelm {

// The service, or null as long as no driver provides it.
KelmPlatformPolicyProtocol* BdsPlatformPolicy();

} // namespace kelm
