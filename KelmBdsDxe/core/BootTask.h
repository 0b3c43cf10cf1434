// What this boot is for: the task, its title, the queries that choose it and the text that the user
// sees of it.
#pragma once

#include "kelm/BootTaskTypes.h"
#include "uefi/Base.h"

namespace kelm {

// Titles for the log. A value out of range has the title "Unknown".
const CHAR16* BootTaskTitle(BootTask task);
const CHAR16* HotKeyTitle(HotKey key);

// What the platform asks of this boot, one answer for each query.
struct BootRequests {
    UINT32 manufacturingMode = 0;
    bool previousForgelineGui = false; // left by the boot before
    bool idModule = false;
    bool resetToDefaults = false;
    bool smaJob = false;
    ForgelineRequest forgeline = ForgelineRequest::Disabled;
    bool aci = false;
    bool forcePxe = false;
    bool controllerBoot = false;
    bool redirectionEnable = false;
    bool redirectionSuppress = false;
};
// The task of the most urgent request.
BootTask BdsChooseBootTask(const BootRequests& requests);
// Makes every query, whatever the earlier ones say, and chooses gDriver.boot.bootTask. Also finds
// out which controller jobs wait and what the ID module wants.
void BdsSetBootTask();
// Turns redirection requests and bypassed configuration tasks into a normal boot, and decides
// gDriver.boot.configurationBoot.
void BdsSpecialBootTask();
// Sends the text of the chosen task to the splash screen, if it has one.
void BdsShowBootTaskMessage();
// Sends an ASCII text to the splash screen's boot-task line; the empty text clears it. "Nimbor"
// becomes "BMC" unless the controller goes by that name.
void BdsSetBootTaskText(const CHAR8* text);
// Carries out what the controller's boot flags ask for: setup, boot manager, diagnostics, the
// Forgeline tool or a boot path.
void BdsProcessControllerRequest();

} // namespace kelm
