// The setting for the USB ports that a user can reach, shared with the controller.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsSendUsbConfig();
// *enabled is 0 when the setting turns all ports off, 1 otherwise. An error (and 0): the setting
// cannot be read.
EFI_STATUS BdsGetUsbPortsEnabled(UINT32* enabled);
// Waits a second when ports that the operating system finds off have been on during POST.
void BdsUsbAllOffDelay();

} // namespace kelm
