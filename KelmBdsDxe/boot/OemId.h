// The OEM identity of the system and its rebranding.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Carries out a rebrand or debrand request of the ID module.
EFI_STATUS BdsProcessOemId();
// Applies the identity'"'"'s secure-boot policy at the end of POST.
EFI_STATUS BdsOemIdEndOfPost();
// Backs up the OEM'"'"'s SMBIOS strings when that was asked for.
EFI_STATUS BdsPersonalityModuleOemSmbiosBackup();

} // namespace kelm
