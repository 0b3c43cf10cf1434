#include "legacy/LegacyDefaultOrders.h"

#include "bootopt/LegacyOptionKind.h"
#include "bootopt/LegacyOptionServices.h"
#include "bootopt/OrderVariable.h"
#include "kelm/Variables.h"

namespace kelm {

EFI_STATUS BdsApplyDefaultLegacyHddOrder(const CHAR16* orderName, const EFI_GUID* guid) {
    UINT16 option = 0;
    if (EFI_ERROR(BdsFindFirstLegacyHddOption(orderName, guid, &option))) {
        return EFI_SUCCESS;
    }
    OptionOrder devices;
    const EFI_STATUS status =
        BdsReadOrder(kVariableDefaultBcvBootOrder.name, kVariableDefaultBcvBootOrder.guid, devices);
    if (EFI_ERROR(status)) {
        return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
    }
    return SetLegacyOptionDeviceOrder(option, devices.numbers().data(), devices.numbers().size());
}

} // namespace kelm
