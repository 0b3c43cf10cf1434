#include "core/ManufacturingMode.h"

#include "library/firmware/Protocol.h"

namespace kelm {

UINT32 BdsGetManufacturingMode() {
    auto* service = FindService<KelmManufacturingModeProtocol>();
    return service == nullptr ? kManufacturingModeOff : service->GetMode(service);
}

void BdsInitializeManufacturingMode() {
    if (auto* service = FindService<KelmManufacturingModeProtocol>()) {
        static_cast<void>(service->Initialize(service));
    }
}

void BdsManufacturingLeavePost() {
    if (auto* service = FindService<KelmManufacturingModeProtocol>()) {
        static_cast<void>(service->LeavePost(service));
    }
}

} // namespace kelm
