#include "core/UserEntries.h"

#include "bootopt/VariableHelpers.h"
#include "core/DriverState.h"
#include "core/HookPoints.h"
#include "core/ManufacturingMode.h"
#include "core/PlatformPolicy.h"
#include "core/Progress.h"
#include "core/Splash.h"
#include "kelm/AttributeNames.h"
#include "kelm/BootManagerProtocol.h"
#include "kelm/DebugLevels.h"
#include "kelm/DiagnosticsProtocol.h"
#include "kelm/HookPoints.h"
#include "kelm/PcdTokens.h"
#include "kelm/SetupLauncherProtocol.h"
#include "kelm/Variables.h"
#include "library/firmware/Pcd.h"
#include "library/firmware/Protocol.h"
#include "mgmt/ConfigLock.h"
#include "mgmt/Rci2Table.h"
#include "post/Passwords.h"
#include "services/Attributes.h"

namespace kelm {

namespace {

constexpr CHAR16 kPasswordAlways[] = u"Always";

bool IsSetupDeniedToRestricted() {
    auto* policy = BdsPlatformPolicy();
    return policy != nullptr && policy->IsSetupDenied(policy) != FALSE;
}

bool BootManagerNeedsPassword() {
    return !PcdGetBool(kPcdBootManagerFree) ||
           BdsCompareAttribute(kAttributeBootManagerPassword, kPasswordAlways);
}

} // namespace

EFI_STATUS BdsEnterSetup() {
    KelmSetupLauncherProtocol* launcher = nullptr;
    EFI_STATUS status = LocateService(launcher);
    if (EFI_ERROR(status)) {
        return status;
    }
    DebugPrint(kDebugBdsInfo, "BDS: Enter Setup...\n");
    UINT8 accepted = EFI_ERROR(BdsCheckAdminPassword()) ? 0 : 1;
    const bool locked = BdsIsConfigLocked();
    if ((accepted == 0 || locked) && IsSetupDeniedToRestricted()) {
        return EFI_ACCESS_DENIED;
    }
    const KelmVariable& mode = kVariableSetupEntry;
    static_cast<void>(gRT->SetVariable(const_cast<CHAR16*>(mode.name), mode.guid, mode.attributes,
                                       sizeof(accepted), &accepted));
    const bool splash = gDriver.boot.splashActive;
    if (splash) {
        BdsShowSplash(false);
    }
    BdsManufacturingLeavePost();
    BdsSignalHookPoint(gKelmHookBeforeSetupGuid);
    BdsReportProgress(kProgressEnterSetup);
    UINTN result = 0;
    status = launcher->Launch(kSetupLaunchSystemSetup, &result);
    BdsSignalHookPoint(gKelmHookAfterSetupGuid);
    if (splash) {
        BdsShowSplash(true);
    }
    static_cast<void>(BdsDeleteVariable(mode.name, mode.guid));
    return status;
}

EFI_STATUS BdsEnterDiags() {
    DebugPrint(kDebugBds, "BDS: Enter Diags...\n");
    KelmDiagnosticsProtocol* diagnostics = nullptr;
    const EFI_STATUS status = LocateService(diagnostics);
    return EFI_ERROR(status) ? status : diagnostics->Launch(diagnostics);
}

EFI_STATUS BdsEnterBootManager() {
    DebugPrint(kDebugBdsInfo, "BDS: Enter Boot Manager...\n");
    BdsBuildRci2TableOnce();
    EFI_STATUS status = BootManagerNeedsPassword() ? BdsCheckAdminPassword() : EFI_SUCCESS;
    if (EFI_ERROR(status)) {
        return status;
    }
    KelmBootManagerProtocol* manager = nullptr;
    status = LocateService(manager);
    if (EFI_ERROR(status)) {
        return status;
    }
    const bool splash = gDriver.boot.splashActive;
    if (splash) {
        BdsShowSplash(false);
    }
    BdsSignalHookPoint(gKelmHookBeforeBootManagerGuid);
    BdsReportProgress(kProgressEnterBootManager);
    status = manager->Launch(manager, gDriver.boot.configurationBoot ? 1 : 0);
    if (splash && !gDriver.launch.bootAttempted) {
        BdsShowSplash(true);
    }
    BdsSignalHookPoint(gKelmHookAfterBootManagerGuid);
    return status;
}

} // namespace kelm
