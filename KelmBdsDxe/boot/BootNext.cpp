#include "boot/BootNext.h"

#include "boot/BootReports.h"
#include "boot/Launcher.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "platform/Connect.h"
#include "uefi/GlobalVariable.h"

#include <cstring>

namespace kelm {

void BdsDeleteBootNext() {
    static_cast<void>(BdsDeleteVariable(kBootNextName, &gEfiGlobalVariableGuid));
}

EFI_STATUS BdsBootNext() {
    UINTN size = 0;
    const PoolPtr<UINT8> data = BdsReadVariable(kBootNextName, &gEfiGlobalVariableGuid, &size);
    if (!data) {
        BdsDeleteBootNext(); // one of no bytes
        return EFI_SUCCESS;
    }
    if (size != sizeof(UINT16)) {
        BdsDeleteBootNext(); // names nothing, and never will
        return EFI_NOT_FOUND;
    }
    UINT16 number = 0;
    std::memcpy(&number, data.get(), sizeof(number));
    DebugPrint(kDebugInfoLoad, "BdsBootNext: found BootNext=%04x\n", number);
    BdsDeleteBootNext();
    OwnedBootOption option(BdsReadBootOption(number));
    if (!option) {
        return EFI_NOT_FOUND;
    }
    static_cast<void>(BdsConnectDevicePath(option->DevicePath));
    const EFI_STATUS status = BdsLaunch(option);
    DebugPrint(kDebugBdsInfo, "BDS: Boot via UEFI BootNext - %r\n", status);
    BdsReportBootResult(*option.get(), status);
    return status;
}

} // namespace kelm
