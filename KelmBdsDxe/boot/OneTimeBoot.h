// Boot requests that hold for one boot. Each is taken back before it is acted on, so that one that
// fails or hangs is not repeated.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/Base.h"

namespace kelm {

// Honours the one-time requests in their order, as long as none of them has started an image:
// setup's, that of the BIOS boot interface, the controller's, and BootNext.
void BdsProcessOneTimeBoot();

// The request that was made in setup. EFI_SUCCESS: there is none, or it was looked for (whether or
// not a device fitted). EFI_UNSUPPORTED: not a request for this boot mode. EFI_NOT_FOUND: the
// request, its device, the device location service or (where it is needed) BootOrder is missing.
// EFI_OUT_OF_RESOURCES.
EFI_STATUS BdsProcessHiiOneTimeBoot();
// The device path that a tool left. EFI_SUCCESS: there is none. EFI_NOT_FOUND: no tool. Otherwise
// the status of the deletion or of the tool.
EFI_STATUS BdsBootViaBiosBootInterface();

// The setting "OneTimeBootMode". Statuses as BdsGetAttributeString and BdsSetAttributeString.
EFI_STATUS BdsGetOneTimeBootMode(PoolPtr<CHAR16>& mode);
EFI_STATUS BdsSetOneTimeBootMode(const CHAR16* mode);

// Applies the production line's PXE setting.
void BdsMfgModeSetPxe();

} // namespace kelm
