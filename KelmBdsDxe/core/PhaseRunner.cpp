#include "core/PhaseRunner.h"

#include "core/Progress.h"
#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Measurement.h"

namespace kelm {

namespace {

constexpr char kModule[] = "BDS";

void WriteLine(const Phase& phase) {
    switch (phase.lineKind) {
    case PhaseLine::Title:
        DebugPrint(kDebugBdsInfo, "%a\n", phase.title);
        break;
    case PhaseLine::Text:
        DebugPrint(kDebugBdsInfo, "%a\n", phase.line);
        break;
    case PhaseLine::ByBody:
        break;
    }
}

} // namespace

void RunPhase(const Phase& phase) {
    if (phase.runsWhen != nullptr && !phase.runsWhen()) {
        if (phase.otherwise != nullptr) {
            phase.otherwise();
        }
        return;
    }
    if (phase.title == nullptr) {
        phase.body();
        return;
    }
    {
        const Measurement measurement(phase.title, kModule);
        if (phase.progressBeforeLine != 0) {
            BdsReportProgress(phase.progressBeforeLine);
        }
        WriteLine(phase);
        if (phase.body != nullptr) {
            phase.body();
        }
    }
    if (phase.afterMeasurement != nullptr) {
        phase.afterMeasurement();
    }
}

void BdsMainSequence() {
    for (const Phase& phase : PhaseTable()) {
        if (!phase.nested) {
            RunPhase(phase);
        }
    }
    __builtin_unreachable(); // the last row does not return
}

} // namespace kelm
