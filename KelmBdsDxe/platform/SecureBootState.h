// Changes of the secure-boot configuration and its pending tasks.
#pragma once

#include "uefi/Base.h"

namespace kelm {

bool BdsGetSecureBootPendingTask();
EFI_STATUS BdsProcessSecureBootTask(bool pending);
EFI_STATUS BdsSecureBootStateCheck();

} // namespace kelm
