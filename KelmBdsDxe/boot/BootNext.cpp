#include "boot/BootNext.h"

#include "boot/BootReports.h"
#include "boot/Launcher.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Services.h"
#include "platform/Connect.h"
#include "uefi/GlobalVariable.h"

namespace kelm {

void BdsDeleteBootNext() {
    static_cast<void>(BdsDeleteVariable(kBootNextName, &gEfiGlobalVariableGuid));
}

EFI_STATUS BdsBootNext() {
    UINT16 number = 0;
    UINTN size = sizeof(number);
    const EFI_STATUS read =
        gRT->GetVariable(kBootNextName, &gEfiGlobalVariableGuid, nullptr, &size, &number);
    if (read == EFI_NOT_FOUND) {
        return EFI_SUCCESS;
    }
    if (read == EFI_BUFFER_TOO_SMALL || (!EFI_ERROR(read) && size != sizeof(number))) {
        BdsDeleteBootNext(); // names nothing, and never will
        return EFI_NOT_FOUND;
    }
    if (EFI_ERROR(read)) {
        return read; // still there for the next boot
    }
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
