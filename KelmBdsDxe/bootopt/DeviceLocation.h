// The device location service: where a device sits and how it is called.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Starts the service, before controllers are connected.
EFI_STATUS BdsInitDeviceLocations();
// Asks the service to refresh itself once all controllers are connected.
EFI_STATUS BdsRegisterDeviceLocationEvent();

} // namespace kelm
