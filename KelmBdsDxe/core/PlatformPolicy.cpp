#include "core/PlatformPolicy.h"

#include "core/DriverState.h"
#include "library/firmware/Protocol.h"

namespace kelm {

KelmPlatformPolicyProtocol* BdsPlatformPolicy() {
    if (gDriver.core.platformPolicy == nullptr) {
        gDriver.core.platformPolicy = FindProtocol<KelmPlatformPolicyProtocol>();
    }
    return gDriver.core.platformPolicy;
}

} // namespace kelm
