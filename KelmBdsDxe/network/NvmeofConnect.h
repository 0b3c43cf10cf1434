// Connecting the NVMe-oF subsystems that the settings name.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsNvmeofConnect();

} // namespace kelm
