// The boot option that the management controller's boot flags name.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsBootIpmiBootOption();

} // namespace kelm
