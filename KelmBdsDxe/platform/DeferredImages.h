// Images whose start the security policy deferred until the platform is locked down.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Loads and starts them all, each under a watchdog of five minutes. EFI_NOT_FOUND: there are none;
// EFI_ACCESS_DENIED: none could be loaded; EFI_SUCCESS: at least one was.
EFI_STATUS BdsEfiBootManagerDispatchDeferredImages();

} // namespace kelm
