// The language variables.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Repairs Lang and PlatformLang; with `writeCodes` it writes the lists of languages first.
EFI_STATUS BdsInitLanguages(bool writeCodes);

} // namespace kelm
