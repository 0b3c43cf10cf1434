// Connecting the iSCSI targets that the settings name.
#pragma once

#include "uefi/Base.h"

namespace kelm {

EFI_STATUS BdsIscsiConnect();

} // namespace kelm
