// Binding drivers to controllers: the devices of the machine appear when their parents are
// connected (UEFI 2.10, section 7.3, ConnectController).
//
// One controller that cannot be connected stops nobody: its status is dropped and the next one is
// taken. Statuses are told only where a caller can do something about them.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Connects every PCI root bridge, not recursively: the PCI functions appear.
void BdsConnectPciRootBridges();

// Connects everything: what the platform wants connected first, then all controllers. Always
// EFI_SUCCESS.
EFI_STATUS BdsConnectAll();
// Connects every handle that is no image, recursively, again and again as long as the dispatcher
// finds new drivers.
void BdsConnectAllDriversToAllControllers();

// Connects along each instance of a path, so that its devices appear. Drivers that are still to be
// dispatched are, where the way ends early. Null is an empty path: EFI_SUCCESS.
// EFI_OUT_OF_RESOURCES: no memory; EFI_INVALID_PARAMETER: a broken path; otherwise the status of
// the last instance: EFI_SUCCESS when the device of its last node is there, EFI_NOT_FOUND when the
// way ended earlier.
EFI_STATUS BdsConnectDevicePath(const EFI_DEVICE_PATH_PROTOCOL* path);
// The same, connecting what lies on the way recursively.
EFI_STATUS BdsConnectDevicePathRecursive(const EFI_DEVICE_PATH_PROTOCOL* path);

// Connects all USB host controllers recursively: those with the newer protocol, then the others.
void BdsConnectUsbHostControllers();
// Hands a path that begins with a USB class or USB WWID node to the USB host controllers of one
// PCI programming interface (PCI_IF_XHCI and the like), which connect what it matches.
// EFI_SUCCESS: one of them took it; EFI_NOT_FOUND: none did; EFI_INVALID_PARAMETER: null, or a path
// that begins with another node.
EFI_STATUS BdsConnectUsbShortFormPath(const EFI_DEVICE_PATH_PROTOCOL* path,
                                      UINT8 programmingInterface);

// Lets the dispatcher load every driver that can be loaded by now. EFI_SUCCESS: there was one;
// EFI_NOT_FOUND: there was none; EFI_UNSUPPORTED: a platform without the DXE services.
EFI_STATUS BdsDispatchDrivers();

} // namespace kelm
