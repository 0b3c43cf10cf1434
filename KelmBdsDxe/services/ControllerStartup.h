// The controller's view of the boot: its start-up, its milestones and the closing of its SMA
// interface. Every routine logs a missing protocol and returns the lookup's status; no caller stops
// over it.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Start-up in three calls: initialise the controller, install its IPMI transport, early init.
void BdsStartController();

// The controller's milestones, in the order of the boot.
EFI_STATUS BdsNimborEarlyInit();
EFI_STATUS BdsNimborLateInit();
EFI_STATUS BdsNimborProcessPostEvent();
EFI_STATUS BdsNimborSendSataInfo();
EFI_STATUS BdsNimborEndOfPost();
// Tells the controller on the first boot attempt of the boot only; EFI_SUCCESS afterwards.
EFI_STATUS BdsNimborReadyToBoot();
EFI_STATUS BdsNimborBeforeImageStart();

// Closes the controller's SMA interface at the port that it publishes; repeated at every boot
// attempt. EFI_NOT_FOUND when the controller publishes no port or has no interface record.
EFI_STATUS BdsCloseSmaInterface();
// Counts a failure of the power-supply boot-status command in the interface record.
EFI_STATUS BdsCountControllerCommandFailure();

} // namespace kelm
