// Dynamic platform configuration values through the PI PCD protocol. A value that the platform does
// not have, and every value of a platform without the protocol, reads as 0.
#pragma once

#include "kelm/PcdTokens.h"
#include "uefi/Base.h"

namespace kelm {

UINT8 PcdGet8(const PcdToken& token);
bool PcdGetBool(const PcdToken& token);
UINT64 PcdGet64(const PcdToken& token);
// Statuses as the protocol's; EFI_UNSUPPORTED without the protocol.
EFI_STATUS PcdSet8(const PcdToken& token, UINT8 value);
EFI_STATUS PcdSetBool(const PcdToken& token, bool value);

EFI_STATUS ConstructPcd();

} // namespace kelm
