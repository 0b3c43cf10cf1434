#include "platform/UsbPorts.h"

#include "kelm/AttributeNames.h"
#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Pool.h"
#include "library/pure/Ucs2.h"
#include "services/Attributes.h"

namespace kelm {

namespace {

constexpr UINTN kOneSecond = 1'000'000; // microseconds

} // namespace

EFI_STATUS BdsGetUsbPortsEnabled(UINT32* enabled) {
    *enabled = 0;
    PoolPtr<CHAR16> setting;
    const EFI_STATUS status = BdsGetAttributeString(kAttributeUsbPorts, setting.out());
    if (!EFI_ERROR(status)) {
        *enabled = Ucs2View(setting.get()) == kAttributeUsbPortsAllOff ? 0 : 1;
    }
    return status;
}

void BdsUsbAllOffDelay() {
    PoolPtr<CHAR16> setting;
    if (EFI_ERROR(BdsGetAttributeString(kAttributeUsbPorts, setting.out()))) {
        return;
    }
    if (Ucs2View(setting.get()) == kAttributeUsbPortsAllOff ||
        Ucs2View(setting.get()) == kAttributeUsbPortsAllOffDynamic) {
        DebugPrint(kDebugBdsInfo, "BDS: Extra Delay 1 second for USB all port off and Dynamic\n");
        static_cast<void>(gBS->Stall(kOneSecond));
    }
}

} // namespace kelm
