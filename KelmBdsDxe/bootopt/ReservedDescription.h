// Descriptions that are reserved for devices which the system itself provides.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// True when the text contains one of them, in whatever case; false for null.
bool BdsIsReservedDescription(const CHAR16* text);

} // namespace kelm
