// The SMBIOS tables and their copy at the controller.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsBuildEarlySmbiosTables();
EFI_STATUS BdsBuildSmbiosTables();

} // namespace kelm
