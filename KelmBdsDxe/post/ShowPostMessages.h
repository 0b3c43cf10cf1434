// One walk over the registered POST messages: each is shown, and told to the controller.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Shows what has been registered since the last walk, tells the controller's log of it, remembers
// the codes of errors, and notes in gDriver.post what that means for the prompt. EFI_NOT_FOUND: no
// service. EFI_COMPROMISED_DATA: the list is broken; what stands before the break has been shown.
EFI_STATUS BdsShowPostMessages();

} // namespace kelm
