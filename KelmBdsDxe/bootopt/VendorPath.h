// The device paths of devices that have no hardware behind them: one hardware vendor node and the
// end node, as the UEFI device path chapter defines them.
#pragma once

#include "library/pure/DevicePath.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

struct [[gnu::packed]] VendorPath {
    VENDOR_DEVICE_PATH vendor;
    EFI_DEVICE_PATH_PROTOCOL end;
};
static_assert(sizeof(VendorPath) == 24);

constexpr VendorPath MakeVendorPath(const EFI_GUID& guid) {
    VendorPath path{};
    path.vendor.Header = {
        kDevicePathTypeHardware, kHardwareSubTypeVendor, {sizeof(VENDOR_DEVICE_PATH), 0}};
    path.vendor.Guid = guid;
    path.end = kEndEntireNode;
    return path;
}

} // namespace kelm
