// The boot sequence: every phase from the start of BDS to the default boot, in one table.
//
// Read PhaseTable.cpp first: it is the driver's table of contents. Each row says under which title
// a phase is measured, what it writes to the log, when it runs and what it does; PhaseRunner
// carries out a row. Rows decide nothing about the order, and no phase's result is looked at.
#pragma once

#include "uefi/Base.h"

#include <span>

namespace kelm {

// The line that announces a phase in the log, written with a line end.
enum class PhaseLine : UINT8 {
    Title,  // the title
    Text,   // Phase::line
    ByBody, // the phase writes it itself, or there is none
};

struct Phase {
    const char* title = nullptr; // token of the measurement; null: no measurement and no line
    PhaseLine lineKind = PhaseLine::Title;
    const char* line = nullptr;    // with PhaseLine::Text
    bool (*runsWhen)() = nullptr;  // null: always
    UINT32 progressBeforeLine = 0; // reported between the start of the measurement and the line
    void (*body)() = nullptr;
    void (*afterMeasurement)() = nullptr;
    void (*otherwise)() = nullptr; // instead of the phase when it does not run
    bool nested = false;           // run by another row's body, not after it
};

// All rows, in order. The last one does not return.
std::span<const Phase> PhaseTable();
// The row that runs inside "[BDS] PCI Enum".
const Phase& NimborLateInitPhase();

} // namespace kelm
