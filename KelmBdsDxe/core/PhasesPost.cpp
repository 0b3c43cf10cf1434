// Bodies of the phases between the boot task and the end of boot-option enumeration.

#include "boot/OemId.h"
#include "bootopt/EnumerateBootOptions.h"
#include "console/Print.h"
#include "core/BootTask.h"
#include "core/DriverState.h"
#include "core/HookPoints.h"
#include "core/ManufacturingMode.h"
#include "core/PhaseBodies.h"
#include "core/PhaseRunner.h"
#include "core/Progress.h"
#include "core/Reset.h"
#include "kelm/EndOfPostProtocols.h"
#include "kelm/HookPoints.h"
#include "kelm/MemoryTestProtocol.h"
#include "kelm/PlatformTpmProtocol.h"
#include "kelm/RipsProtocol.h"
#include "library/firmware/Pcd.h"
#include "library/firmware/Protocol.h"
#include "mgmt/SmallSteps.h"
#include "platform/BoardPolicies.h"
#include "platform/Connect.h"
#include "platform/MemoryTest.h"
#include "platform/SecureBootTask.h"
#include "services/IpmiTransport.h"
#include "strings/Strings.h"

namespace kelm {

namespace {

constexpr Phase kNvmeHotplugEnabled = {
    .title = "[BDS] NVME Preboot Hotplug - Enabled",
    .lineKind = PhaseLine::Text,
    .line = "[BDS] Enable NVME Preboot Hotplug",
    .body = [] { static_cast<void>(BdsEnableNvmePrebootHotplug()); },
};
constexpr Phase kNvmeHotplugDisabled = {
    .title = "[BDS] NVME Preboot Hotplug - Disabled",
    .lineKind = PhaseLine::Text,
    .line = "[BDS] Disable NVME Preboot Hotplug",
    .body = [] { static_cast<void>(BdsDisableNvmePrebootHotplug()); },
};

bool MemoryAlreadyTested() {
    auto* service = FindService<KelmMemoryTestProtocol>();
    return service != nullptr && service->GetState(service) == kMemoryTestAlreadyDone;
}

bool MemoryTestWanted() {
    UINT32 setting = 0;
    return !EFI_ERROR(BdsGetMemTest(&setting)) && setting != 0 && !gDriver.boot.configurationBoot &&
           BdsGetManufacturingMode() == kManufacturingModeOff && !MemoryAlreadyTested();
}

void ShowSecureBootConfigured() {
    static_cast<void>(PrintHiiString(kStringSecureBootConfigured));
    static_cast<void>(PrintHiiString(kStringResetting));
}

} // namespace

void LogServiceTagSkipped() {
    DebugPrint(kDebugBdsInfo, "[BDS] ManufacturingMode = %d\n", BdsGetManufacturingMode());
    DebugPrint(kDebugBdsInfo, "[BDS] SmaJobType = 0x%x\n", gDriver.boot.smaJobType);
    DebugPrint(kDebugBdsInfo, "[BDS] Service Tag check skipped\n");
}

void MemTest() {
    const bool test = MemoryTestWanted();
    if (test) {
        DebugPrint(kDebugBdsInfo, "[BDS] Mem Test\n");
    }
    static_cast<void>(BdsMemoryTest(test));
}

void DropOneBootMemoryRequest() {
    if (PcdGetBool(kPcdMemoryOneBootRequest)) {
        static_cast<void>(PcdSetBool(kPcdMemoryOneBootRequest, false));
    }
}

void InitializeRips() {
    if (auto* rips = FindProtocol<KelmRipsProtocol>()) {
        static_cast<void>(rips->Initialize(rips));
    }
}

void SendMasterWriteRead() {
    KelmIpmiTransportProtocol* transport = nullptr;
    const EFI_STATUS status = LocateProtocolOrLog(transport, "LocateProtocol Status= %x \r\n");
    if (EFI_ERROR(status)) {
        return;
    }
    IpmiResponse response;
    static_cast<void>(BdsSendIpmiCommandOn(transport, kIpmiNetFnApplication, kIpmiMasterWriteRead,
                                           kIpmiMasterWriteRequest, kIpmiMasterWriteResponseSize,
                                           response));
}

void ConnectAllControllers() {
    BdsSignalHookPoint(gKelmHookBeforeConnectAllGuid);
    BdsReportProgress(kProgressConnectAll);
    static_cast<void>(BdsConnectAll());
    BdsSignalHookPoint(gKelmHookAfterConnectAllGuid);
    BdsReportProgress(kProgressAllConnected);
}

void NvmePrebootHotplug() {
    RunPhase(BdsCheckVmdEnabled() ? kNvmeHotplugDisabled : kNvmeHotplugEnabled);
}

void CheckSecureBootPendingTask() {
    gDriver.boot.secureBootTaskPending = BdsGetSecureBootPendingTask();
    BdsProcessSecureBootTask(gDriver.boot.secureBootTaskPending);
    if (gDriver.boot.secureBootTaskPending && gDriver.boot.bootTask == BootTask::Normal) {
        BdsSetBootTaskText("Secure Boot Configuration Requested");
        ResetAfterSecureBootTask();
    }
}

void ResetAfterSecureBootTask() {
    ShowSecureBootConfigured();
    BdsWaitAndReset();
}

void SignalConfigurationBoot() {
    BdsSignalHookPoint(gKelmHookConfigurationBootGuid);
}

void ProcessOemId() {
    BdsSetBootTaskText("");
    static_cast<void>(BdsProcessOemId());
}

void ReportTpmError() {
    if (auto* tpm = FindProtocol<KelmPlatformTpmProtocol>()) {
        static_cast<void>(tpm->ReportError(tpm));
        static_cast<void>(tpm->ReportConfigurationError(tpm));
    }
}

void EnumerateOptions() {
    BdsReportProgress(kProgressEnumerateBootOptions);
    static_cast<void>(EnumerateBootOptions());
    BdsReportProgress(kProgressBootOptionsEnumerated);
}

void CheckAciShutdown() {
    static_cast<void>(BdsCheckAciShutdown());
}

void SignalUsbTxtEndOfPost() {
    if (auto* usb = FindProtocol<KelmUsbEndOfPostProtocol>()) {
        static_cast<void>(usb->EndOfPost(usb));
    }
    if (auto* txt = FindProtocol<KelmTxtEndOfPostProtocol>()) {
        static_cast<void>(txt->EndOfPost(txt));
    }
}

void BladeChassisCheck() {
    DebugPrint(kDebugBdsInfo, "[BDS] Blade Chassis Check\n");
    static_cast<void>(BdsBladeChassisCheck());
}

} // namespace kelm
