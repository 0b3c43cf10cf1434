#include "core/PlatformPolicy.h"

#include "core/DriverState.h"
#include "library/firmware/Protocol.h"

namespace kelm {

KelmPlatformPolicyProtocol* BdsPlatformPolicy() {
    CoreState& state = gDriver.core;
    if (state.platformPolicy == nullptr) {
        // Asked for again and again; that it is missing is told once.
        state.platformPolicy = state.platformPolicyMissing
                                   ? FindProtocol<KelmPlatformPolicyProtocol>()
                                   : FindService<KelmPlatformPolicyProtocol>();
        state.platformPolicyMissing = state.platformPolicy == nullptr;
    }
    return state.platformPolicy;
}

} // namespace kelm
