// What has to be done before a boot option is tried: the end of POST for this attempt.
#pragma once

namespace kelm {

// Runs at the start of every boot attempt: closes what the operating system must find closed, tells
// those who wait for ready-to-boot, shows the POST messages that are left, and gives the screen to
// what is booted.
void BdsPrepareBootAttempt();

} // namespace kelm
