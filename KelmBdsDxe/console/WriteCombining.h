// The caching mode of the frame buffers.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsEnableVideoWriteCombining();

} // namespace kelm
