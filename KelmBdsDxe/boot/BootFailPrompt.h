// What the user sees when nothing could be booted, and what can be done about it.
#pragma once

#include "uefi/Base.h"

#include <span>

namespace kelm {

// Shows the driver's strings `title` and `lines`, offers F1 (go on), F2, F10 and F11, and waits as
// the setting "BootSeqRetry" says: for a key, for 30 seconds, or not at all (the system is reset,
// and the call does not return). Returns when the tool that the user chose is left.
void BdsBootFailPrompt(UINT16 title, std::span<const UINT16> lines);

} // namespace kelm
