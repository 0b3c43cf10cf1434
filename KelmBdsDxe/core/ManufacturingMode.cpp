#include "core/ManufacturingMode.h"

#include "library/firmware/Protocol.h"

namespace kelm {

UINT32 BdsGetManufacturingMode() {
    auto* service = FindProtocol<KelmManufacturingModeProtocol>();
    return service == nullptr ? kManufacturingModeOff : service->GetMode(service);
}

void BdsInitializeManufacturingMode() {
    if (auto* service = FindProtocol<KelmManufacturingModeProtocol>()) {
        static_cast<void>(service->Initialize(service));
    }
}

void BdsManufacturingLeavePost() {
    if (auto* service = FindProtocol<KelmManufacturingModeProtocol>()) {
        static_cast<void>(service->LeavePost(service));
    }
}

} // namespace kelm
