// The default boot: the options of BootOrder one after another, again and again.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Returns only when no option is left to be tried in this round.
EFI_STATUS BdsDefaultBoot();

} // namespace kelm
