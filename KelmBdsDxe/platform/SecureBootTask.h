// Secure-boot configuration tasks that wait at the management controller; their sibling handler
// carries them out.
#pragma once

namespace kelm {

// True when a task waits. False, with a line in the log, without the handler.
bool BdsGetSecureBootPendingTask();
// Hands the answer of the query to the handler, which carries out what waits.
void BdsProcessSecureBootTask(bool pending);

} // namespace kelm
