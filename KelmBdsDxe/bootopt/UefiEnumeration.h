// UEFI boot options for the devices that are present: stale ones go, new ones come.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Deletes the options of devices that are gone, makes options for new devices and appends them to
// UefiBootOrder. EFI_OUT_OF_RESOURCES: the new options could not be ordered, and are in no order.
// Otherwise the status of the last step; EFI_SUCCESS when there was nothing to do.
EFI_STATUS BdsEnumerateUefiBootOptions();

} // namespace kelm
