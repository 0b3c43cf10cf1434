// Registering numbered POST messages with the POST message service.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Registers a message without arguments and without a device; the numbers stand in
// kelm/PostMessages.h.
EFI_STATUS RegisterPostMessage(UINT32 number);
// The same for a message about a device (null: none) whose text has one argument.
EFI_STATUS RegisterPostMessageWithArgs(UINT32 number, const EFI_DEVICE_PATH_PROTOCOL* device,
                                       const CHAR8* argument);

} // namespace kelm
