// Ending the boot from the phase sequence.
#pragma once

namespace kelm {

// Waits three seconds, so that a person can read what stands on the screen, and resets warm.
void BdsWaitAndReset();

} // namespace kelm
