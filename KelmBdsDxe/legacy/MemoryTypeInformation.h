// How much memory of each type the next boot sets aside.
#pragma once

namespace kelm {

// Learns from this boot; may reset the system.
void BdsUpdateMemoryTypeInformation();

} // namespace kelm
