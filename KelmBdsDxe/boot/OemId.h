// The OEM identity of the system and its rebranding.
#pragma once

namespace kelm {

// Carries out the request of the ID module (gDriver.boot.rebrandRequested, debrandRequested).
void BdsProcessOemId();
// POST is over for the identity; the secure-boot-off policy of the platform follows.
void BdsOemIdEndOfPost();
// Backs up the OEM's SMBIOS strings when that was asked for.
void BdsPersonalityModuleOemSmbiosBackup();

} // namespace kelm
