#include "bootopt/GenericUsb.h"

#include "bootopt/VendorPath.h"
#include "kelm/AttributeNames.h"
#include "kelm/PlaceholderGuids.h"
#include "library/firmware/Services.h"
#include "services/Attributes.h"

namespace kelm {

namespace {

alignas(UINT64) constinit VendorPath mPath = MakeVendorPath(gKelmGenericUsbBootGuid);

} // namespace

const EFI_DEVICE_PATH_PROTOCOL* BdsGenericUsbBootPath() {
    return &mPath.vendor.Header;
}

void BdsInstallGenericUsbBootDevice() {
    if (!BdsAttributeIsEnabled(kAttributeGenericUsbBoot)) {
        return;
    }
    EFI_HANDLE handle = nullptr;
    static_cast<void>(gBS->InstallMultipleProtocolInterfaces(&handle, &gEfiDevicePathProtocolGuid,
                                                             &mPath, nullptr));
}

} // namespace kelm
