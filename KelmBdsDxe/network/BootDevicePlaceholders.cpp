#include "network/BootDevicePlaceholders.h"

#include "bootopt/VendorPath.h"
#include "core/DriverState.h"
#include "kelm/PlaceholderGuids.h"
#include "library/firmware/Services.h"

#include <array>

namespace kelm {

namespace {

// The handle database keeps pointers to these for as long as the image lives.
alignas(UINT64) constinit std::array<VendorPath, kNetworkBootPlaceholderCount> mPaths = [] {
    std::array<VendorPath, kNetworkBootPlaceholderCount> paths{};
    for (UINTN i = 0; i < paths.size(); ++i) {
        paths[i] = MakeVendorPath(*kNetworkBootPlaceholders[i].guid);
    }
    return paths;
}();

} // namespace

void BdsInstallNetworkBootDevices() {
    for (UINTN i = 0; i < mPaths.size(); ++i) {
        EFI_HANDLE& handle = gDriver.network.placeholders[i];
        if (handle != nullptr) {
            continue;
        }
        // A device path that is in the database already answers EFI_ALREADY_STARTED: that handle
        // stands for the device.
        static_cast<void>(gBS->InstallMultipleProtocolInterfaces(
            &handle, &gEfiDevicePathProtocolGuid, &mPaths[i], &gKelmNetworkBootDeviceMarkerGuid,
            nullptr, nullptr));
    }
}

bool BdsIsNetworkPlaceholder(const EFI_DEVICE_PATH_PROTOCOL* path) {
    auto* rest = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path);
    EFI_HANDLE handle = nullptr;
    return !EFI_ERROR(gBS->LocateDevicePath(&gKelmNetworkBootDeviceMarkerGuid, &rest, &handle));
}

} // namespace kelm
