// Media that somebody plugged in from outside: USB ports of the chassis and virtual media.
#pragma once

#include "bootopt/LoadOption.h"

namespace kelm {

// A record of the first option of BootOrder whose FQDD says that its device is such a medium and
// from which a boot image can be loaded; the caller frees it. Null when there is none. Images that
// were loaded to find out are unloaded.
BootOptionRecord* BdsFindFirstExternalMediaOption();

} // namespace kelm
