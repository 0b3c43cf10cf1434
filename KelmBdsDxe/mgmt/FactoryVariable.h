// The factory variable and its copy.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BackupFactoryVariable();

} // namespace kelm
