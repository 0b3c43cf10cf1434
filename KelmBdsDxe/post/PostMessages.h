// Registering numbered POST messages with the POST message service.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Registers a message without arguments and without a device; the numbers stand in
// kelm/PostMessages.h.
EFI_STATUS RegisterPostMessage(UINT32 number);

} // namespace kelm
