// Entries for the controller's log, one for each POST message: over SMA with its arguments, over
// IPMI with a short text (kelm/SmaCommands.h, kelm/IpmiCommands.h).
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Sends an identifier of 8 characters and the first `count` strings of a block.
// EFI_INVALID_PARAMETER: no identifier, no block although there are strings to send, or strings of
// more than 254 characters with their NULs. Otherwise as BdsSendSmaCommand.
EFI_STATUS SmaSendLogEntry(const CHAR16* identifier, const CHAR16* block, UINTN count);

// Sends a number from 0 to 9999 and the first 18 characters of a text (null: none).
// EFI_INVALID_PARAMETER: another number. EFI_SUCCESS also when the controller has the entry
// already. Otherwise as BdsSendIpmiCommand.
EFI_STATUS IpmiSendLogEntry(UINT32 number, const CHAR16* text);

} // namespace kelm
