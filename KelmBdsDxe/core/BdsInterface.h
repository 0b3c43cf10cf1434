// The driver's own protocol, through which setup, the boot menu and controller agents call back
// into it (kelm/BdsInterfaceProtocol.h).
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Installs the protocol on a new handle. A protocol that is in the handle database already is an
// assertion.
void BdsInstallInterface();

} // namespace kelm
