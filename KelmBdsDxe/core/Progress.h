// The driver's progress codes: its own caller ID on every code.
#pragma once

#include "kelm/ProgressCodes.h"
#include "library/firmware/StatusCodeReport.h"

namespace kelm {

// Reports a progress code of kelm/ProgressCodes.h, unless the platform turned progress codes off.
inline void BdsReportProgress(UINT32 value) {
    ReportProgressCode(value, gKelmBdsCallerIdGuid);
}

} // namespace kelm
