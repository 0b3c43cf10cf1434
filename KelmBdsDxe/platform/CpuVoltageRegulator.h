// The voltage regulators of the processors.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS CpuVrPogramUnderReport();

} // namespace kelm
