// Bodies of the phases that act on requests, end POST and boot.

#include "boot/ControllerBootFlags.h"
#include "boot/DefaultBoot.h"
#include "bootopt/EnumerateBootOptions.h"
#include "console/Print.h"
#include "core/BootTask.h"
#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/HookPoints.h"
#include "core/HotKeys.h"
#include "core/ManufacturingMode.h"
#include "core/PauseKey.h"
#include "core/PhaseBodies.h"
#include "core/Reset.h"
#include "kelm/DebugLevels.h"
#include "kelm/HookPoints.h"
#include "kelm/RipsProtocol.h"
#include "kelm/SmaJobProtocol.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "mgmt/SmaJobs.h"
#include "mgmt/SmallSteps.h"
#include "post/PostDisplay.h"
#include "services/ControllerStartup.h"
#include "strings/Strings.h"
#include "uefi/SimpleTextOutput.h"

namespace kelm {

namespace {

constexpr UINTN kLightGreyOnBlack = 0x07;

BootState& State() {
    return gDriver.boot;
}

bool TaskIs(BootTask task) {
    return State().bootTask == task;
}

void ClearBootTaskText() {
    BdsSetBootTaskText("");
}

} // namespace

void ProcessSmaResetToDefaults() {
    ClearBootTaskText();
    static_cast<void>(BdsProcessSmaResetToDefaults());
}

void NimborEndOfPost() {
    static_cast<void>(BdsNimborEndOfPost());
    BdsSignalHookPoint(gKelmHookEndOfPostGuid);
}

void ProcessSmaConfigTask() {
    static_cast<void>(BdsProcessSmaJob(State().smaJobType & SmaJobTypeConfiguration));
    ClearBootTaskText();
    if (State().forgelineRequest == ForgelineRequest::SystemConfiguration) {
        State().bootTask = BootTask::SystemConfiguration;
        BdsSetBootTaskText("System Configuration Requested by Forgeline");
    }
}

void ProcessSmaSystemErase() {
    static_cast<void>(BdsProcessSmaJob(State().smaJobType | SmaJobTypeSystemErase));
}

void ProcessSmaConfigurationSet() {
    static_cast<void>(BdsProcessSmaJob(State().smaJobType | kSmaProcessConfigurationSet));
}

void ProcessAci() {
    ClearBootTaskText();
    static_cast<void>(BdsProcessAci());
    static_cast<void>(EnumerateBootOptions());
}

void ReportRipsError() {
    if (auto* rips = FindProtocol<KelmRipsProtocol>()) {
        static_cast<void>(rips->ReportError(rips));
    }
}

void StopPauseKey() {
    static_cast<void>(BdsStopPauseKey());
    DebugPrint(kDebugBdsInfo, "BDS: BootTask - %s\n", BootTaskTitle(State().bootTask));
    DebugPrint(kDebugBdsInfo, "BDS: Hot Key  - %s\n", HotKeyTitle(State().hotKey));
}

void SetConsoleAttribute() {
    if (gST->ConOut != nullptr) {
        static_cast<void>(gST->ConOut->SetAttribute(gST->ConOut, kLightGreyOnBlack));
    }
}

void ProcessPostErrors() {
    static_cast<void>(BdsProcessPostErrors(true));
}

void ProcessHotKeys() {
    BdsSignalHookPoint(gKelmHookProcessHotKeysGuid);
    if (TaskIs(BootTask::PreviousHotKey)) {
        ClearBootTaskText();
    }
    static_cast<void>(BdsProcessHotKeys());
}

void ProcessControllerBoot() {
    static_cast<void>(BdsClearControllerBootFlags());
    ClearBootTaskText();
    BdsProcessControllerRequest();
}

void ProcessForgelineRequests() {
    if (TaskIs(BootTask::SystemConfiguration)) {
        DebugPrint(kDebugBdsInfo, "[BDS] Process SSM\n");
        ClearBootTaskText();
        static_cast<void>(BdsProcessSsm());
    }
    if (TaskIs(BootTask::ForgelineGui) || TaskIs(BootTask::PreviousForgelineGui)) {
        if (TaskIs(BootTask::PreviousForgelineGui)) {
            static_cast<void>(BdsClearForgelineGuiRequest());
        }
        DebugPrint(kDebugBdsInfo, "[BDS] Process Forgeline GUI\n");
        ClearBootTaskText();
        static_cast<void>(BdsEnterForgelineGui());
    }
    BdsManufacturingLeavePost();
    if (TaskIs(BootTask::ServicePartition)) {
        DebugPrint(kDebugBdsInfo, "[BDS] Process BSP\n");
        ClearBootTaskText();
        static_cast<void>(BdsBootServicePartition());
    }
}

void ResetAfterConfigurationBoot() {
    // The next boot finds this and is an ordinary one, whatever is still requested.
    UINT8 bypass = 1;
    const KelmVariable& variable = kVariableConfigurationBootBypass;
    static_cast<void>(gRT->SetVariable(const_cast<CHAR16*>(variable.name), variable.guid,
                                       variable.attributes, sizeof(bypass), &bypass));
    static_cast<void>(PrintHiiString(kStringResetting));
    BdsWaitAndReset();
}

void DefaultBootForever() {
    BdsSignalHookPoint(gKelmHookBeforeDefaultBootGuid);
    DebugPrint(kDebugBdsInfo, "[BDS] Default Boot\n");
    ClearBootTaskText();
    for (;;) {
        static_cast<void>(BdsDefaultBoot());
    }
}

} // namespace kelm
