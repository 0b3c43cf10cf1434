// Requests of the Forgeline provisioning tool and the ways into it.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Reads the pending request into gDriver.boot.forgelineRequest.
EFI_STATUS BdsForgelineInit();
// Whether a request of the tool can be carried out in this boot.
bool BdsForgelineAvailable();
// Whether the controller hides the F10 key.
bool BdsF10Hidden();
// The tool is not wanted any more in this boot; done once a boot. EFI_NOT_FOUND: there is no tool.
EFI_STATUS BdsForgelineCleanup();
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
