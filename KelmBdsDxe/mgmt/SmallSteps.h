// Single steps of the sequence that hand work to a sibling driver.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Passes the thermal record of the boot to the controller through management mode.
EFI_STATUS BdsSendNimborPid();
// Processes firmware capsules that wait.
EFI_STATUS BdsProcessCapsulesEarly();
// Turns on decoding and bus mastering of the PCI devices.
EFI_STATUS BdsEnablePciDecode();
// Visits the PCI devices after enumeration.
EFI_STATUS BdsProcessPciDevices();
// The network daughter card.
EFI_STATUS BdsNdcInit();
// Cuts an asset tag that is too long.
EFI_STATUS BdsProcessAssetTag();
// Waits while the controller unlocks NVMe drives.
EFI_STATUS BdsNvmeUnlockStatusCheck();
// True when NVMe drives sit behind the volume management device.
bool BdsCheckVmdEnabled();
EFI_STATUS BdsEnableNvmePrebootHotplug();
EFI_STATUS BdsDisableNvmePrebootHotplug();
// Registers a message when an attribute configuration request asked for a shutdown.
EFI_STATUS BdsCheckAciShutdown();
EFI_STATUS BdsBladeChassisCheck();
// Whether the controller wants the BIOS attributes put back to their defaults.
bool BdsIsResetToDefaultsRequested();
// Sets the BIOS attributes to their defaults for the controller.
EFI_STATUS BdsProcessSmaResetToDefaults();
// Attribute configuration requests and the errors they left.
EFI_STATUS BdsProcessAci();
EFI_STATUS BdsProcessAciErrors();

} // namespace kelm
