// The console variables ConIn, ConOut and ErrOut (and ConInDev and the like): multi-instance device
// paths in the EFI global namespace (UEFI 2.10, section 3.3), one instance a console.
//
// A variable that holds no valid device path counts as absent when it is read, and is replaced when
// it is written.
#pragma once

#include "library/firmware/DevicePathPool.h"
#include "uefi/Base.h"

namespace kelm {

// Removes and adds consoles. Every instance that matches `remove` partially goes: one of the two
// begins with the other. `add` stays where it is when the variable has exactly it; otherwise the
// instances that match it partially go and it becomes the last one. A path of several instances is
// taken instance by instance. Null, or a path without nodes, adds or removes nothing.
// EFI_UNSUPPORTED, and nothing is changed: both are the same pointer or there is nothing to do;
// EFI_INVALID_PARAMETER: no name; EFI_OUT_OF_RESOURCES or a status of GetVariable: what is there
// cannot be read and was left alone; otherwise EFI_SUCCESS, even when the variable cannot be
// written.
EFI_STATUS BdsUpdateConsoleVariable(const CHAR16* name, const EFI_DEVICE_PATH_PROTOCOL* add,
                                    const EFI_DEVICE_PATH_PROTOCOL* remove);

// Connects every console of the variable and removes those that cannot be connected, except USB
// devices that are named by their class or serial number. EFI_SUCCESS: a console is present;
// EFI_NOT_FOUND: none is; EFI_UNSUPPORTED: no such variable, or it names no console.
EFI_STATUS BdsConnectConsoleVariable(const CHAR16* name);

// Lists the consoles in the log.
void BdsDumpConsoleVariable(const CHAR16* name);

// A copy of the first serial console of the variable; null when there is none. While FTDI adapters
// serve as consoles, serial ports behind USB are not counted.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL> GetSerialConDevPath(const CHAR16* name);

// The whole variable; null when it is absent, broken or cannot be read.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL> ReadConsoleVariable(const CHAR16* name);

// One instance: a UART behind its first node, and there behind USB, too.
bool IsSerialConsolePath(const EFI_DEVICE_PATH_PROTOCOL* instance);
bool IsUsbSerialConsolePath(const EFI_DEVICE_PATH_PROTOCOL* instance);

} // namespace kelm
