#include "library/firmware/StatusCodeReport.h"

#include "kelm/PcdTokens.h"
#include "library/firmware/Pcd.h"
#include "library/firmware/Protocol.h"
#include "uefi/StatusCode.h"

namespace kelm {

namespace {

constinit UINT8 mPropertyMask = 0;

} // namespace

EFI_STATUS ConstructStatusCodeReport() {
    mPropertyMask = PcdGet8(kPcdReportStatusCodePropertyMask);
    return EFI_SUCCESS;
}

bool ReportProgressCodeEnabled() {
    return (mPropertyMask & kReportProgressCodes) != 0;
}

EFI_STATUS ReportStatusCode(UINT32 type, UINT32 value, const EFI_GUID& callerId) {
    auto* receiver = FindProtocol<EFI_STATUS_CODE_PROTOCOL>();
    if (receiver == nullptr) {
        return EFI_UNSUPPORTED;
    }
    return receiver->ReportStatusCode(type, value, 0, &callerId, nullptr);
}

void ReportProgressCode(UINT32 value, const EFI_GUID& callerId) {
    if (ReportProgressCodeEnabled()) {
        static_cast<void>(ReportStatusCode(EFI_PROGRESS_CODE, value, callerId));
    }
}

} // namespace kelm
