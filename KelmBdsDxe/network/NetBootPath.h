// What a network boot device of the boot order stands for in this boot.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Whether a PXE device and the iSCSI disk on its port want different VLANs.
bool IsPxeIscsiVlanConflict(const EFI_DEVICE_PATH_PROTOCOL* placeholder);
// The device path to boot; null when there is none.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL>
BdsGetUefiNetworkDeviceNetBootDevicePath(const EFI_DEVICE_PATH_PROTOCOL* placeholder);

} // namespace kelm
