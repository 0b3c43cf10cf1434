// The liquid-cooling configuration prompt.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsCheckLqcConfig();

} // namespace kelm
