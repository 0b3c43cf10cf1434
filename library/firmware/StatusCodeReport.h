// Status codes of the PI report status code protocol. Which kinds are reported at all is a platform
// value that is read once, when the image starts.
#pragma once

#include "uefi/Base.h"

namespace kelm {

bool ReportProgressCodeEnabled();
// Reports one code without extended data. EFI_UNSUPPORTED when the platform has no receiver.
EFI_STATUS ReportStatusCode(UINT32 type, UINT32 value, const EFI_GUID& callerId);
// Reports a progress code, unless progress codes are turned off.
void ReportProgressCode(UINT32 value, const EFI_GUID& callerId);

EFI_STATUS ConstructStatusCodeReport();

} // namespace kelm
