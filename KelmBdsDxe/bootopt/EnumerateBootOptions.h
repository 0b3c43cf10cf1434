// Bringing the boot options and their orders up to date with the devices that are present.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS EnumerateBootOptions();

} // namespace kelm
