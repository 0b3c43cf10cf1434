// Signals that the driver gives to the platform, and what it checks for it.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Ends the DXE phase: end-of-DXE, the platform's own event after it, SMM ready-to-lock, and the
// platform's own event after that, each with its lines in the log.
void BdsSignalEndOfDxe();

// Asks the controller for the chassis configuration. EFI_PROTOCOL_ERROR: no IPMI transport, or an
// answer without the value; EFI_OUT_OF_RESOURCES; otherwise the transport's status.
EFI_STATUS IpmiGetChassisConfiguration(UINT8* chassisValue);
// Keeps the chassis value in the setting "ChassisSledInfo"; on a sled whose controller cannot tell,
// registers a POST message.
void BdsCheckChassisSledInfo();

} // namespace kelm
