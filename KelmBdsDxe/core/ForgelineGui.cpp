// The ways into the user interface of the Forgeline tool: now, or through a reset.

#include "bootopt/VariableHelpers.h"
#include "console/Print.h"
#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/HookPoints.h"
#include "core/HotKeys.h"
#include "core/Progress.h"
#include "core/Splash.h"
#include "kelm/DebugLevels.h"
#include "kelm/ForgelineProvisioningProtocol.h"
#include "kelm/HookPoints.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "mgmt/ConfigLock.h"
#include "mgmt/Rci2Table.h"
#include "platform/NetworkPermission.h"
#include "post/Passwords.h"
#include "uefi/SimpleTextOutput.h"

namespace kelm {

namespace {

constexpr UINTN kTwoSeconds = 2'000'000; // microseconds

// Once it is clear that the user may.
EFI_STATUS Enter(KelmForgelineProvisioningProtocol* tool) {
    static_cast<void>(BdsAllowNetworkConnection());
    BdsReportProgress(kStatusEnterForgeline);
    UINT16 entered = 1;
    const KelmVariable& variable = kVariableEnterForgelineDetect;
    static_cast<void>(gRT->SetVariable(const_cast<CHAR16*>(variable.name), variable.guid,
                                       variable.attributes, sizeof(entered), &entered));
    BdsSignalHookPoint(gKelmHookBeforeForgelineGuid);
    return tool->Launch(tool);
}

// After ready-to-boot the system is no longer as the tool needs it.
EFI_STATUS EnterThroughReset() {
    if (BdsIsConfigLocked() || BdsF10Hidden()) {
        return EFI_UNSUPPORTED;
    }
    const EFI_STATUS status = BdsCheckAdminPassword();
    return EFI_ERROR(status) ? status : BdsRebootToForgeline();
}

} // namespace

EFI_STATUS BdsEnterForgelineGui() {
    DebugPrint(kDebugBdsInfo, "BDS: Enter Forgeline GUI...\n");
    auto* tool = gDriver.forgeline.service;
    if (tool == nullptr) {
        return EFI_NOT_FOUND;
    }
    BdsBuildRci2TableOnce();
    if (gDriver.boot.hotKey == HotKey::F10Forgeline) {
        if (BdsIsConfigLocked()) {
            return EFI_ACCESS_DENIED;
        }
        const EFI_STATUS status = BdsCheckAdminPassword();
        if (EFI_ERROR(status)) {
            return status;
        }
    }
    return Enter(tool);
}

EFI_STATUS BdsRebootToForgeline() {
    UINT8 requested = 1;
    const KelmVariable& variable = kVariableForgelineGuiRequest;
    const EFI_STATUS status = gRT->SetVariable(const_cast<CHAR16*>(variable.name), variable.guid,
                                               variable.attributes, sizeof(requested), &requested);
    if (EFI_ERROR(status)) {
        return status;
    }
    if (gST->ConOut != nullptr) {
        static_cast<void>(gST->ConOut->ClearScreen(gST->ConOut));
    }
    PrintString(u"Rebooting to enter Forgeline. Please wait...\r\n");
    static_cast<void>(gBS->Stall(kTwoSeconds));
    gRT->ResetSystem(EfiResetWarm, EFI_SUCCESS, 0, nullptr);
    return EFI_DEVICE_ERROR; // the reset did not come
}

bool BdsForgelineGuiRequested() {
    const KelmVariable& variable = kVariableForgelineGuiRequest;
    UINT8 requested = 0;
    UINTN size = sizeof(requested);
    return !EFI_ERROR(gRT->GetVariable(const_cast<CHAR16*>(variable.name), variable.guid, nullptr,
                                       &size, &requested)) &&
           requested == 1;
}

EFI_STATUS BdsClearForgelineGuiRequest() {
    return BdsDeleteVariable(kVariableForgelineGuiRequest.name, kVariableForgelineGuiRequest.guid);
}

EFI_STATUS BdsInterfaceEnterForgeline() {
    BootState& state = gDriver.boot;
    if (gDriver.services.controllerReadyToBoot) {
        return EnterThroughReset();
    }
    if (!state.hotKeysProcessing && !state.hotKeysDone) {
        state.hotKey = HotKey::F10Forgeline;
        static_cast<void>(BdsUpdateHotKeyPrompt());
        return EFI_SUCCESS;
    }
    if (!state.splashActive) {
        BdsShowSplash(true);
    }
    return gDriver.forgeline.service == nullptr ? EFI_NOT_FOUND : Enter(gDriver.forgeline.service);
}

} // namespace kelm
