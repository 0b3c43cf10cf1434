// Boot paths that name a USB device by what it is and not by its port: USB class and USB WWID nodes
// (UEFI 2.10, section 3.1.2).
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/DevicePath.h"

namespace kelm {

// The USB class or USB WWID node of a path; null when it has none.
const EFI_DEVICE_PATH_PROTOCOL* BdsFindUsbShortFormNode(const EFI_DEVICE_PATH_PROTOCOL* path);
// Whether the path names the USB device with that handle: the node fits it, and the nodes before
// the node are those that the device's path begins with.
bool BdsIsUsbShortFormOf(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE usbDevice);
// The first USB device that is present and that the path names; null when there is none.
EFI_HANDLE BdsFindUsbDevice(const EFI_DEVICE_PATH_PROTOCOL* path);
// The full path of the first USB device that is present and fits, with the nodes behind the short
// one. Null when the path has no such node, no device fits, or memory is out.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL> BdsExpandUsbShortFormPath(const EFI_DEVICE_PATH_PROTOCOL* path);

} // namespace kelm
