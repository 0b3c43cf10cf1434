// The rear USB ports of add-in GPUs.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS CheckNvidiaTypeCUsbSecurity();

} // namespace kelm
