// The Pause key, which holds POST until another key is pressed.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsStartPauseKey();
EFI_STATUS BdsStopPauseKey();

} // namespace kelm
