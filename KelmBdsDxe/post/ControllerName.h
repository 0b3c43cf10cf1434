// The controller's name in texts for people: servers whose controller is not the maker's own call
// it by the generic name.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Replaces every "Nimbor" in a text by the shorter "BMC", in place, unless the controller is the
// maker's own. True when the text has changed. Null is an empty text.
bool BdsGeneralizeControllerName(CHAR16* text);

} // namespace kelm
