// The places of operating systems in the boot order. An installer that runs again puts its option
// first; the variables OsBootEntry01 to OsBootEntry03 remember, by the FQDD of the disk, where the
// option stood, so that it goes back there.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Marks the first option of BootOrder as placed when an operating system wrote it for a managed
// disk, and moves it to the place that is remembered for that disk. EFI_SUCCESS also when there is
// nothing to do. EFI_DEVICE_ERROR: an entry cannot be read. Otherwise the status of reading
// BootOrder, of writing it, or of writing the option; what is left to do is then done by the next
// call, also in a later boot.
EFI_STATUS BdsPositionOsBootManager();
// Remembers where the options marked as placed stand in BootOrder, and forgets disks that have none
// any more. EFI_LOAD_ERROR: there is no BootOrder. Otherwise EFI_SUCCESS, or the last failure to
// write an entry.
EFI_STATUS BdsUpdateOsBootEntries();

} // namespace kelm
