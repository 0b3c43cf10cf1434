// What this boot is for: the task, its title, the query that chooses it and the text that the user
// sees of it.
#pragma once

#include "kelm/BootTaskTypes.h"
#include "uefi/Base.h"

namespace kelm {

// Titles for the log. A value out of range has the title "Unknown".
const CHAR16* BootTaskTitle(BootTask task);
const CHAR16* HotKeyTitle(HotKey key);

// Chooses gDriver.boot.bootTask, and reads the pending controller jobs on the way.
EFI_STATUS BdsSetBootTask();
// Sends the text of the chosen task to the splash screen.
EFI_STATUS BdsShowBootTaskMessage();
// Turns redirection requests and bypassed configuration tasks into a normal boot, and decides
// gDriver.boot.configurationBoot.
EFI_STATUS BdsSpecialBootTask();
// Sends an ASCII text to the splash screen's boot-task line; the empty text clears it.
EFI_STATUS BdsSetBootTaskText(const CHAR8* text);
// Carries out what the controller's boot flags ask for: setup, boot manager, diagnostics, the
// Forgeline tool or a boot path.
void BdsProcessControllerRequest();

} // namespace kelm
