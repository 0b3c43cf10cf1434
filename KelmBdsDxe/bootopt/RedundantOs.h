// The redundant operating system: a copy on a device of its own that boots when the main one
// cannot.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Moves the options on the device that the setting RedundantOsLocation names to the front of the
// order of the boot mode; the last one found ends up first. EFI_SUCCESS also when there is none.
// EFI_OUT_OF_RESOURCES. Otherwise the status of reading or writing the order.
EFI_STATUS BdsReorderRedundantOs();

} // namespace kelm
