// What the system table says of this firmware: configuration tables of earlier phases, vendor and
// revision.
#pragma once

namespace kelm {

// Installs the configuration tables that hand-off blocks carry, sets the vendor and revision of the
// system table from the board's record, and recomputes the checksums of the system table and of the
// boot services table.
void BdsSetFirmwareIdentity();

} // namespace kelm
