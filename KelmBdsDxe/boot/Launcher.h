// Starting one boot option: the way that every boot attempt goes.
#pragma once

#include "bootopt/LoadOption.h"
#include "uefi/Base.h"

namespace kelm {

// Starts the option; returns only when the image could not be started or has returned. *option may
// be replaced by another record; the replaced one is freed then, the new one is the caller's.
// `reserved` must be null. The exit data is the image's, pool memory
// that the caller frees.
EFI_STATUS BdsLaunchBootOption(BootOptionRecord** option, void* reserved, UINTN* exitDataSize,
                               CHAR16** exitData);

} // namespace kelm
