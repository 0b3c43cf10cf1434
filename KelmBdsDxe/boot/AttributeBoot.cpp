#include "boot/AttributeBoot.h"

#include "boot/BootReports.h"
#include "boot/Launcher.h"
#include "console/Print.h"
#include "core/DriverState.h"
#include "core/UserEntries.h"
#include "kelm/AttributeNames.h"
#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/firmware/DevicePathPool.h"
#include "services/Attributes.h"

namespace kelm {

EFI_STATUS BdsProcessAttributeBoot() {
    PoolPtr<CHAR16> text;
    if (EFI_ERROR(BdsGetAttributeString(kAttributeOneTimeUefiBootPath, text.out())) || !text ||
        text[0] == 0) {
        return EFI_SUCCESS;
    }
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> path = DevicePathOfText(text.get());
    if (!path) {
        DebugPrint(kDebugErrorLoad, "Attribute boot fail due to invalid device path\n");
        PrintString(u"Boot Failed: invalid device path from attribute.");
        gDriver.launch.lastBootResult = kLastBootFailed;
        return EFI_INVALID_PARAMETER;
    }
    DebugPrint(kDebugBdsInfo, "BDS: Process Attribute Boot - %s\n", text.get());
    const EFI_STATUS status = BdsBootByDevicePath(path.get());
    if (!EFI_ERROR(status)) {
        static_cast<void>(BdsEnterBootManager());
    }
    return status;
}

} // namespace kelm
