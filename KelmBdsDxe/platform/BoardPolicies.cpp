#include "platform/BoardPolicies.h"

#include "kelm/AttributeNames.h"
#include "kelm/CpldProtocol.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"

namespace kelm {

void BdsLockCpld() {
    auto* cpld = FindProtocol<KelmCpldLockProtocol>();
    if (cpld == nullptr) {
        return;
    }
    if (cpld->GetLockState(cpld) == EFI_UNSUPPORTED) {
        DebugPrint(kDebugInfo, "BdsLockCpld - CPLD was locked !\n");
    } else if (!EFI_ERROR(cpld->Lock(cpld))) {
        DebugPrint(kDebugInfo, "BdsLockCpld - CPLD is locked now ! \n");
    } else {
        DebugPrint(kDebugInfo, "BdsLockCpld - CPLD is still unlocked now ! \n");
    }
}

EFI_STATUS BdsGetBootSeqRetry(UINT32* setting) {
    *setting = kBootSeqRetryDisabled;
    PoolPtr<CHAR16> text;
    const EFI_STATUS status = BdsGetAttributeString(kAttributeBootSeqRetry, text.out());
    if (EFI_ERROR(status)) {
        return status;
    }
    if (Ucs2View(text.get()) == kAttributeBootSeqRetryReset) {
        *setting = kBootSeqRetryReset;
    } else if (Ucs2View(text.get()) != kAttributeDisabled) {
        *setting = kBootSeqRetryEnabled;
    }
    return EFI_SUCCESS;
}

} // namespace kelm
