// The network ports of this boot, and the settings of the network boot devices that name them.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Rebuilds UefiNicList from the ports that are present.
EFI_STATUS BdsCreateNicList();
// Brings the interface settings of every network boot device in line with the list.
EFI_STATUS BdsUpdateNetworkDeviceAttributes();

} // namespace kelm
