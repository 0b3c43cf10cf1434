// Requests of the Forgeline provisioning tool and the ways into it.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Reads the pending request into gDriver.boot.forgelineRequest.
EFI_STATUS BdsForgelineInit();
// Detaches the tool's partition.
EFI_STATUS BdsDetachForgelinePartition();
// Carries out a system-configuration request.
EFI_STATUS BdsProcessSsm();
// Enters the tool's user interface.
EFI_STATUS BdsEnterForgelineGui();
// Forgets the request that an earlier boot left for this one.
EFI_STATUS BdsClearForgelineGuiRequest();
// Boots the tool's service partition.
EFI_STATUS BdsBootServicePartition();
// Slot 10 of the interface protocol: enters the tool, remembers F10, or resets to get there.
EFI_STATUS BdsInterfaceEnterForgeline();

} // namespace kelm
