// The network boot devices that exist in the boot order before any network card is known: one
// handle each, with a fixed vendor device path and a marker protocol.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Installs the 25 placeholder handles; one that is installed already is kept.
void BdsInstallNetworkBootDevices();

} // namespace kelm
