// Carrying out the rows of the phase table.
#pragma once

#include "core/PhaseTable.h"

namespace kelm {

// Runs one phase if its condition holds: measurement, line in the log, body, end of the
// measurement.
void RunPhase(const Phase& phase);

// Runs the whole table. Does not return.
[[noreturn]] void BdsMainSequence();

} // namespace kelm
