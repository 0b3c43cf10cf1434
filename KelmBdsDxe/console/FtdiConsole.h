// FTDI USB-to-serial adapters as serial consoles. An adapter appears only when its USB controller
// is connected, so its console is placed whenever a text output is installed.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Whether the platform supports them.
bool FtdiConsoleSupported();

// Removes from the variable every serial console behind USB that an earlier boot left.
void FtdiUsbSerialRemovePreviousDevicePathInConVar(const CHAR16* name);
// Places the adapter's console whenever a text output is installed, until boot services end.
void FtdiUsbSerialRegisterCallback();

// The path of the first adapter, owned by its handle; null when there is none.
EFI_DEVICE_PATH_PROTOCOL* GetFtdiUsbSerialDevicePath();
// Puts a console before the first two serial consoles of every console variable.
void FtdiUsbSerialSetConVarPriority(const EFI_DEVICE_PATH_PROTOCOL* ftdiPath);

} // namespace kelm
