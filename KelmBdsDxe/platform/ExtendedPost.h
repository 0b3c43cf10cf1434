// The extended POST image.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsExtendedPost();

} // namespace kelm
