// Images whose start the security policy deferred.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsEfiBootManagerDispatchDeferredImages();

} // namespace kelm
