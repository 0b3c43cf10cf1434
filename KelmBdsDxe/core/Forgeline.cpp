#include "core/Forgeline.h"

#include "core/DriverState.h"
#include "kelm/DebugLevels.h"
#include "kelm/NimborInfoProtocol.h"
#include "kelm/NimborInterface.h"
#include "library/firmware/Protocol.h"
#include "services/ControllerType.h"

namespace kelm {

bool BdsForgelineAvailable() {
    switch (gDriver.boot.forgelineRequest) {
    case ForgelineRequest::Available:
    case ForgelineRequest::Gui:
    case ForgelineRequest::SystemConfiguration:
    case ForgelineRequest::Inventory:
        return true;
    default:
        return false;
    }
}

bool BdsF10Hidden() {
    if (GetBmcSupportLevel() == kBmcTypeOpenBmcPlus) {
        DebugPrint(kDebugInfo, "BmcSupportLevel=BmcTypeOpenBmcPlus, F10 hidden. \n");
        return true;
    }
    auto* info = FindProtocol<KelmNimborInfoProtocol>();
    return info != nullptr && info->F10Hidden != 0;
}

} // namespace kelm
