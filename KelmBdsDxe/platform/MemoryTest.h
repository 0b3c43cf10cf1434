// The POST memory test.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// `test`: test the memory; otherwise only make it usable.
EFI_STATUS BdsMemoryTest(bool test);

} // namespace kelm
