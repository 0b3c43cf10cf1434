#include "services/SmaJobService.h"

#include "library/firmware/Protocol.h"

namespace kelm {

namespace {

EFI_STATUS LocateService(KelmSmaJobProtocol*& service) {
    return LocateProtocolOrLog(service, "Error !!! Unable to locate KelmSmaJobProtocol.\n");
}

} // namespace

EFI_STATUS BdsSmaProcessJob(UINT32 flags) {
    KelmSmaJobProtocol* service = nullptr;
    const EFI_STATUS status = LocateService(service);
    return EFI_ERROR(status) ? status : service->ProcessJob(flags);
}

bool BdsSmaGetPendingJobs(UINT32* mask) {
    *mask = 0;
    KelmSmaJobProtocol* service = nullptr;
    return !EFI_ERROR(LocateService(service)) && service->GetPendingJobs(mask) != FALSE;
}

EFI_STATUS BdsSmaSendSmbios() {
    KelmSmaJobProtocol* service = nullptr;
    const EFI_STATUS status = LocateService(service);
    return EFI_ERROR(status) ? status : service->SendSmbiosToNimbor();
}

EFI_STATUS BdsSmaSendScp() {
    KelmSmaJobProtocol* service = nullptr;
    const EFI_STATUS status = LocateService(service);
    return EFI_ERROR(status) ? status : service->SendScp(0);
}

} // namespace kelm
