// The Super I/O chip behind the serial ports.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Swaps the two serial ports.
EFI_STATUS SuperIoSwapComPorts();

} // namespace kelm
