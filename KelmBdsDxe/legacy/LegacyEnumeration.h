// Legacy boot options for the devices that the BIOS boot specification table names.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Brings the legacy options and LegacyBootOrder in line with the table.
EFI_STATUS BdsEnumerateLegacyBootOptions();

} // namespace kelm
