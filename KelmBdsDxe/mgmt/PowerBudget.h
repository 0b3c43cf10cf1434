// The power budget of the chassis.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Waits for the allocation of power where the controller asks for it.
void BdsNimborGetPowerSupplyBootStatus();

} // namespace kelm
