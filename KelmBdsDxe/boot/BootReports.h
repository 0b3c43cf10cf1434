// What the user and the log learn of a boot attempt.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// "Boot Failed:" and its reason on the screen.
EFI_STATUS BdsReportBootFailure(const EFI_DEVICE_PATH_PROTOCOL* path, UINT32 attribute,
                                const CHAR16* description, EFI_STATUS status);
// One line in the log.
EFI_STATUS BdsReportBootSuccess(const CHAR16* description);

} // namespace kelm
