// Doing what UEFI drivers ask for in the interest of their controllers' health: repair, reconnect,
// reboot (UEFI 2.10, section 11.10).
#pragma once

#include "uefi/Base.h"

#include <span>

namespace kelm {

// Takes the drivers' controllers, and their children, through repairs and reconnections until
// nobody asks for more, tells the user when one has to be configured, and resets the machine when a
// driver asks for that. `drivers` carry the driver health protocol.
void BdsRepairAllControllers(std::span<const EFI_HANDLE> drivers);

} // namespace kelm
