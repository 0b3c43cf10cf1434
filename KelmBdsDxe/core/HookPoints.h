// Hook points: places in the phase sequence at which other drivers run code. Each is a GUID; other
// drivers register a protocol notification on it, and signalling it reinstalls a null protocol of
// that GUID on the driver's one hook handle. The GUIDs stand in kelm/HookPoints.h.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Runs the notifications of a hook point at the caller's task priority (at most TPL_NOTIFY). A
// failed installation is an assertion.
void BdsSignalHookPoint(const EFI_GUID& hook);

} // namespace kelm
