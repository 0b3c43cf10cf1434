// The network boot devices that exist in the boot order before any network card is known: one
// handle each, with a fixed vendor device path and a marker protocol.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// Installs the 25 placeholder handles; one that is installed already is kept.
void BdsInstallNetworkBootDevices();
// Whether a valid path leads to one of them.
bool BdsIsNetworkPlaceholder(const EFI_DEVICE_PATH_PROTOCOL* path);

} // namespace kelm
