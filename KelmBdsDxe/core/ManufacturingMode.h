// The manufacturing-mode service of the production line.
#pragma once

#include "kelm/ManufacturingModeProtocol.h"
#include "uefi/Base.h"

namespace kelm {

// The mode (kManufacturingModeOff, ...On, ...Fvs); off without the service.
UINT32 BdsGetManufacturingMode();
// The boot task is known; does nothing without the service.
void BdsInitializeManufacturingMode();
// POST is being left for a tool, for setup or for a boot attempt; does nothing without the service.
void BdsManufacturingLeavePost();

} // namespace kelm
