#include "bootopt/LegacyOptionServices.h"

#include "core/DriverState.h"
#include "kelm/BdsInterfaceProtocol.h"
#include "library/firmware/Protocol.h"

namespace kelm {

namespace {

KelmBdsInterfaceProtocol* Interface() {
    if (gDriver.bootOpt.bdsInterface == nullptr) {
        gDriver.bootOpt.bdsInterface = FindService<KelmBdsInterfaceProtocol>();
    }
    return gDriver.bootOpt.bdsInterface;
}

} // namespace

EFI_STATUS SetLegacyOptionDeviceOrder(UINT16 optionNumber, const UINT16* indexes, UINTN count) {
    const KelmBdsInterfaceProtocol* interface = Interface();
    return interface == nullptr
               ? EFI_NOT_FOUND
               : interface->SetLegacyOptionDeviceOrder(optionNumber, indexes, count);
}

EFI_STATUS GetLegacyDeviceEntry(UINT16 bbsIndex, void** entry) {
    *entry = nullptr;
    const KelmBdsInterfaceProtocol* interface = Interface();
    return interface == nullptr ? EFI_NOT_FOUND : interface->GetLegacyDeviceEntry(bbsIndex, entry);
}

EFI_STATUS GetLegacyDeviceDescription(UINT16 bbsIndex, CHAR16** description) {
    *description = nullptr;
    const KelmBdsInterfaceProtocol* interface = Interface();
    return interface == nullptr ? EFI_NOT_FOUND
                                : interface->GetLegacyDeviceDescription(bbsIndex, description);
}

} // namespace kelm
