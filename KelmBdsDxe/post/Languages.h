// The language variables of the EFI global namespace (UEFI 2.10, section 3.3).
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Makes English the language of the firmware, whatever Lang and PlatformLang say; what is right
// already is left alone. With `writeCodes` the lists of languages are written before. The status of
// the first write that failed; the others are done all the same.
EFI_STATUS BdsInitLanguages(bool writeCodes);

} // namespace kelm
