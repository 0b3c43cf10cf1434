// Running a boot image that has been loaded.
#pragma once

#include "bootopt/LoadOption.h"
#include "uefi/Base.h"

namespace kelm {

// Hands the option's optional data to the image, starts it under a watchdog of five minutes with
// the first page of memory open, and puts everything back when it returns. The image's status; its
// exit data is the caller's.
EFI_STATUS BdsRunBootImage(EFI_HANDLE image, const BootOptionRecord& option, UINTN* exitDataSize,
                           CHAR16** exitData);

} // namespace kelm
