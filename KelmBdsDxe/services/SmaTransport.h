// SMA commands to the management controller: records with a 4-byte header, larger than IPMI allows.
// Command codes stand in kelm/SmaCommands.h.
#pragma once

#include "kelm/NimborSmaProtocol.h"
#include "kelm/SmaCommands.h"
#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <span>

namespace kelm {

// The data of a single-part response: it starts at byte 6, and its length stands at byte 2. Empty
// when the response is too short for its own length.
std::span<const UINT8> SmaResponseData(std::span<const UINT8> response);

// Sends one command: header, then `payload`. `response` is the caller's; *responseSize becomes the
// number of bytes received. The exchange is measured under `token`, and a missing transport is
// logged with `caller`. EFI_NOT_FOUND: no transport; EFI_INVALID_PARAMETER: the payload does not
// fit a u16 length; EFI_OUT_OF_RESOURCES; otherwise the transport's status.
EFI_STATUS BdsSendSmaCommand(const CHAR8* caller, const CHAR8* token, UINT16 command,
                             std::span<const UINT8> payload, std::span<UINT8> response,
                             UINT16* responseSize);

// Multi-part exchange; the response is new pool memory. Statuses as above.
EFI_STATUS BdsSendSmaMultiPartCommand(const CHAR8* caller, const CHAR8* token, UINT16 command,
                                      std::span<const UINT8> payload, PoolPtr<UINT8>& response,
                                      UINT32* responseLength);

} // namespace kelm
