// Binding drivers to controllers.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsConnectPciRootBridges();
EFI_STATUS BdsConnectSpecialPciDevices();
EFI_STATUS BdsConnectAll();

} // namespace kelm
