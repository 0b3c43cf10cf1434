// Telling remote management which boot devices are enabled.
#pragma once

#include "bootopt/OptionCache.h"
#include "uefi/Base.h"

namespace kelm {

// Writes the FQDDs of the enabled and of the disabled options of BootOrder to SetBootOrderEn and
// SetBootOrderDis, with their companions; both end at the first device that does not fit.
// EFI_LOAD_ERROR: BootOrder is missing; nothing is changed. EFI_OUT_OF_RESOURCES, or the status of
// GetVariable: likewise. Otherwise the last failure to write a setting.
EFI_STATUS BdsUpdateBootOrderEnDisAttributes(OptionCache& options);

} // namespace kelm
