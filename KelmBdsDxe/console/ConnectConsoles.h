// Building and connecting the console variables.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsConnectConsoles();

} // namespace kelm
