#include "services/PsuBootStatus.h"

#include "kelm/PsuBootStatusProtocol.h"
#include "library/firmware/Protocol.h"
#include "services/IpmiTransport.h"

namespace kelm {

EFI_STATUS BdsCompletePsuBootStatus(std::span<UINT8, 3> bytes) {
    KelmPsuBootStatusProtocol* service = nullptr;
    EFI_STATUS status = LocateService(service);
    if (EFI_ERROR(status)) {
        return status;
    }
    KelmIpmiTransportProtocol* transport = nullptr;
    status = BdsLocateIpmiTransport(&transport);
    if (EFI_ERROR(status)) {
        return status;
    }
    return service->GetBootStatus(transport, bytes.data());
}

} // namespace kelm
