// How the boot order calls a network boot device.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/DevicePath.h"

namespace kelm {

// The text for the device with that placeholder path: what its port is called, or that there is no
// port or disk. Null when memory is out.
PoolPtr<CHAR16> BdsDescribeNetworkDevice(const EFI_DEVICE_PATH_PROTOCOL* placeholder);

} // namespace kelm
