// The Forgeline provisioning tool: what it wants of this boot, and the ways into it.
//
// BdsForgelineInit looks for the tool once. Without the tool, or when the platform does without it,
// every other function has nothing to work with: EFI_NOT_FOUND.
#pragma once

#include "uefi/Base.h"

namespace kelm {

// Finds the tool and reads its request into gDriver.boot.forgelineRequest. EFI_UNSUPPORTED: the
// platform does without the tool. EFI_NOT_FOUND: there is none. Otherwise the tool's status.
EFI_STATUS BdsForgelineInit();
// Whether a request of the tool can be carried out in this boot.
bool BdsForgelineAvailable();
// Whether the controller hides the F10 key.
bool BdsF10Hidden();
// The tool is not wanted any more in this boot; done once a boot, EFI_SUCCESS afterwards.
EFI_STATUS BdsForgelineCleanup();
// Takes the tool's partition off the bus.
EFI_STATUS BdsDetachForgelinePartition();

// Carries out a system-configuration request. EFI_NOT_FOUND also without a request.
EFI_STATUS BdsProcessSsm();
// Has the tool's service partition booted next. EFI_NOT_FOUND also without a request. Otherwise the
// tool's status, or that of writing BootNext or booting the partition.
EFI_STATUS BdsBootServicePartition();
// Sends the system inventory to the controller, tells the controller's jobs that it is there, and
// collects it anew when the tool asks for that. The status of the sending.
EFI_STATUS BdsSendInventory();

// Enters the tool's user interface; returns when the user leaves it. EFI_ACCESS_DENIED: F10 was
// pressed, but the configuration is locked. Otherwise the status of the password check or of the
// tool.
EFI_STATUS BdsEnterForgelineGui();
// Leaves a request for the tool's user interface to the next boot, and resets. Returns only when
// the request cannot be written, with the status of that.
EFI_STATUS BdsRebootToForgeline();
// Whether an earlier boot left such a request for this one.
bool BdsForgelineGuiRequested();
// Forgets it. EFI_NOT_FOUND: there was none.
EFI_STATUS BdsClearForgelineGuiRequest();
// Slot 10 of the interface protocol: remembers F10, enters the tool, or resets to get there, as far
// as the boot has got. EFI_UNSUPPORTED: it would take a reset, and the tool may not be entered.
EFI_STATUS BdsInterfaceEnterForgeline();

} // namespace kelm
