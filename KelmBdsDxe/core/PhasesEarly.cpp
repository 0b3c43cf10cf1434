// Bodies of the phases up to the boot task and the controller's early information.

#include "console/ConnectConsoles.h"
#include "console/Print.h"
#include "core/BootMode.h"
#include "core/BootTask.h"
#include "core/DriverState.h"
#include "core/HookPoints.h"
#include "core/ManufacturingMode.h"
#include "core/PhaseBodies.h"
#include "core/PhaseRunner.h"
#include "core/Progress.h"
#include "kelm/AttributeNames.h"
#include "kelm/EsrtInjectionProtocol.h"
#include "kelm/HookPoints.h"
#include "kelm/HttpsCertProtocol.h"
#include "kelm/PciPostEnumerationProtocol.h"
#include "kelm/PcieSsdLocationProtocol.h"
#include "kelm/PlatformTpmProtocol.h"
#include "kelm/VamProtocol.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "mgmt/SmaJobs.h"
#include "mgmt/SmallSteps.h"
#include "platform/BoardPolicies.h"
#include "platform/Connect.h"
#include "platform/SpecialPciDevices.h"
#include "services/Attributes.h"
#include "services/ControllerStartup.h"
#include "services/IpmiTransport.h"

namespace kelm {

namespace {

constexpr UINTN kWrapColumns = 79;

// Inside "[BDS] PCI Enum", with lines of its own.
constexpr Phase kSmaUpdateTask = {
    .title = "[BDS] Process SMA Update Task",
    .body = [] { static_cast<void>(BdsProcessSmaUpdateTask()); },
};

// A hung POST is the controller's to notice until here; from here on it is the driver's.
void StopFrb2Watchdog() {
    if (!BdsCompareSecondaryAttribute(kAttributeEsiCustomSettings, kAttributeEnabled) ||
        !BdsAttributeIsEnabled(kAttributeFrb2Timer)) {
        return;
    }
    DebugPrint(kDebugBds, "Stopping FRB2 Watchdog Timer...\n");
    constexpr UINT8 kCompletionCodeOnly = 1;
    IpmiResponse response;
    static_cast<void>(BdsSendIpmiCommand(kIpmiNetFnApplication, kIpmiSetWatchdogTimer,
                                         kIpmiStopFrb2Request, kCompletionCodeOnly, response));
}

void RunPciPostEnumeration() {
    auto* platform = FindService<KelmPciPostEnumerationProtocol>();
    if (platform != nullptr && platform->GetVersion(platform) > kPciPostEnumerationBaseVersion) {
        static_cast<void>(platform->ProcessDevices(platform));
    }
}

} // namespace

void InjectEsrt() {
    if (auto* esrt = FindProtocol<KelmEsrtInjectionProtocol>()) {
        static_cast<void>(esrt->Inject(&gKelmSystemVariableGuid));
    }
}

void CheckVacRequest() {
    static_cast<void>(BdsCheckVacRequest(
        BdsCompareAttribute(kAttributePowerCycleRequest, kAttributeFullPowerCycle)));
}

void TellTpmEarlyInit() {
    if (auto* tpm = FindProtocol<KelmPlatformTpmProtocol>()) {
        static_cast<void>(tpm->EarlyInit(tpm));
    }
}

void NimborEarlyInit() {
    BdsStartController();
    StopFrb2Watchdog();
}

void InitializeVam() {
    if (auto* vam = FindProtocol<KelmVamProtocol>()) {
        static_cast<void>(vam->Initialize(vam));
    }
}

void EnumeratePci() {
    BdsSignalHookPoint(gKelmHookPciEnumerationGuid);
    BdsConnectPciRootBridges();
    BdsConnectSpecialPciDevices();
    RunPhase(NimborLateInitPhase());
    RunPhase(kSmaUpdateTask);
    static_cast<void>(BdsEnablePciDecode());
    RunPciPostEnumeration();
    static_cast<void>(BdsProcessPciDevices());
}

void ConnectConsoles() {
    BdsSignalHookPoint(gKelmHookBeforeConsolesGuid);
    BdsReportProgress(kProgressConnectConsoles);
    static_cast<void>(BdsConnectConsoles());
    SetPrintWrapColumn(kWrapColumns);
    BdsReportProgress(kProgressConsolesConnected);
    BdsSignalHookPoint(gKelmHookAfterConsolesGuid);
    BdsReportProgress(kProgressConsolesReady);
}

void SetBootTask() {
    BdsSetBootTask();
    BdsShowBootTaskMessage();
}

void CheckOsTpmRequests() {
    if (auto* tpm = FindProtocol<KelmPlatformTpmProtocol>()) {
        // The requests wait while a firmware update is pending.
        const bool noUpdatePending = (gDriver.boot.smaJobType & SmaJobTypeUpdate) == 0;
        static_cast<void>(tpm->ProcessOsRequests(tpm, noUpdatePending ? TRUE : FALSE));
    }
}

void InitializeManufacturing() {
    BdsInitializeManufacturingMode();
    static_cast<void>(BdsGetBootMode());
}

void SyncHttpsCertificates() {
    if (auto* certificates = FindProtocol<NimborHttpsBootCertMgmtProtocol>()) {
        static_cast<void>(certificates->SyncFromNimbor());
        static_cast<void>(certificates->SyncToNimbor());
    }
}

void HandleSpecialBootTask() {
    BdsSpecialBootTask();
    DebugPrint(kDebugBdsInfo, "[BDS] Special Boot task handling, Boot Task = %s\n",
               BootTaskTitle(gDriver.boot.bootTask));
}

void SendPcieSsdLocations() {
    if (auto* locations = FindProtocol<KelmPcieSsdLocationProtocol>()) {
        static_cast<void>(locations->CollectBays(locations));
        static_cast<void>(locations->CollectSlots(locations));
        static_cast<void>(locations->SendToNimbor(locations));
    }
}

} // namespace kelm
