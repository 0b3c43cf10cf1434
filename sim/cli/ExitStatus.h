// The exit statuses of kelm-sim; docs and scripts rely on them.
#pragma once

#include "sim/firmware/Platform.h"

namespace sim {

enum class ExitStatus {
    OsStarted = 0,
    ToolFault = 1,
    BadUsage = 2, // also a machine file, driver or variable directory that cannot be used
    Reset = 3,    // or shutdown
    WaitingForKey = 4,
    Halted = 5,
    TimeLimit = 6,
    Violation = 7,   // however the boot ended
    SwitchedOff = 8, // at the terminal
};

ExitStatus StatusOf(EndReason reason);

} // namespace sim
