// Which management controller the server has.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// The controller's type (kBmcType...): a platform value, logged at each query.
UINT8 GetBmcSupportLevel();

} // namespace kelm
