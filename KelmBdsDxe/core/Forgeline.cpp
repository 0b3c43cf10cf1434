#include "core/Forgeline.h"

#include "core/DriverState.h"
#include "core/PlatformPolicy.h"
#include "kelm/DebugLevels.h"
#include "kelm/ForgelineProvisioningProtocol.h"
#include "kelm/NimborInfoProtocol.h"
#include "kelm/NimborInterface.h"
#include "library/firmware/Protocol.h"
#include "services/ControllerType.h"

namespace kelm {

EFI_STATUS BdsForgelineInit() {
    KelmForgelineProvisioningProtocol*& service = gDriver.forgeline.service;
    BootState& state = gDriver.boot;
    service = nullptr;
    state.forgelineRequest = ForgelineRequest::Disabled;
    auto* policy = BdsPlatformPolicy();
    if (policy != nullptr && policy->IsForgelineBlocked(policy) == TRUE) {
        return EFI_UNSUPPORTED;
    }
    EFI_STATUS status = LocateService(service);
    if (EFI_ERROR(status)) {
        return status;
    }
    UINT32 request = 0;
    UINT32 flags = 0;
    status = service->GetRequest(service, &request, &flags);
    if (EFI_ERROR(status)) {
        return status;
    }
    state.forgelineRequest = static_cast<ForgelineRequest>(request);
    if (state.forgelineRequest == ForgelineRequest::SystemConfiguration &&
        (flags & kForgelineFlagEnumerateBootOptions) != 0) {
        state.forgelineSsmEnumerate = true;
    }
    return EFI_SUCCESS;
}

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
    auto* info = FindService<KelmNimborInfoProtocol>();
    return info != nullptr && info->F10Hidden != 0;
}

EFI_STATUS BdsForgelineCleanup() {
    auto& [service, cleanedUp] = gDriver.forgeline;
    if (service == nullptr) {
        return EFI_NOT_FOUND;
    }
    if (cleanedUp) {
        return EFI_SUCCESS;
    }
    cleanedUp = true;
    return service->Cleanup(service);
}

EFI_STATUS BdsDetachForgelinePartition() {
    auto* service = gDriver.forgeline.service;
    return service == nullptr ? EFI_NOT_FOUND : service->DetachPartition(service);
}

} // namespace kelm
