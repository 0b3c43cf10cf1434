#include "core/PhaseTable.h"

#include "boot/ControllerBootFlags.h"
#include "boot/OemId.h"
#include "boot/OneTimeBoot.h"
#include "bootopt/DeviceLocation.h"
#include "console/SuperIo.h"
#include "console/WriteCombining.h"
#include "core/EarlyInit.h"
#include "core/Forgeline.h"
#include "core/HotKeys.h"
#include "core/PauseKey.h"
#include "core/PhaseBodies.h"
#include "core/PhaseConditions.h"
#include "core/PhaseRunner.h"
#include "core/PlatformSignals.h"
#include "core/Progress.h"
#include "library/cpu/LocalApic.h"
#include "mgmt/ConfigLock.h"
#include "mgmt/FactoryVariable.h"
#include "mgmt/FirmwareInventory.h"
#include "mgmt/PowerBudget.h"
#include "mgmt/ServiceTag.h"
#include "mgmt/SmallSteps.h"
#include "mgmt/SmbiosTables.h"
#include "network/IscsiConnect.h"
#include "network/NvmeofConnect.h"
#include "platform/BoardPolicies.h"
#include "platform/CpuVoltageRegulator.h"
#include "platform/DeferredImages.h"
#include "platform/ExtendedPost.h"
#include "platform/GpuUsb.h"
#include "platform/SecureBootState.h"
#include "platform/UsbPorts.h"
#include "post/LiquidCooling.h"
#include "post/Passwords.h"
#include "services/ControllerStartup.h"

#include <array>

namespace kelm {

namespace {

// A phase that is one call whose status nobody looks at.
template <auto Function>
void Call() {
    static_cast<void>(Function());
}

void ReportSequenceStart() {
    BdsReportProgress(kProgressSequenceStart);
}

// Telemetry has no sender in this system.
EFI_STATUS SendQueuedTelemetryLogs() {
    return EFI_UNSUPPORTED;
}

constexpr std::array kPhases = std::to_array<Phase>({
    /*  0 */ {.body = ReportSequenceStart},
    /*  1 */
    {.title = "[BDS] ESRT Table injection", .runsWhen = EsrtInjectionPresent, .body = InjectEsrt},
    /*  2 */ {.title = "[BDS] Check vAC Request", .body = CheckVacRequest},
    /*  3 */ {.title = "[BDS] Early Init", .body = BdsEarlyInit},
    /*  4 */ {.body = TellTpmEarlyInit},
    /*  5 */ {.title = "[BDS] Nimbor Early Init", .body = NimborEarlyInit},
    /*  6 */ {.title = "[BDS] Send Nimbor Win 5x5 PID", .body = Call<BdsSendNimborPid>},
    /*  7 */ {.title = "[BDS] Forgeline init", .body = Call<BdsForgelineInit>},
    /*  8 */ {.title = "[BDS] Init VAM", .body = InitializeVam},
    /*  9 */
    {.title = "[BDS] PCI Enum",
     .progressBeforeLine = kProgressPciEnumeration,
     .body = EnumeratePci},
    /* 10 */
    {.title = "[BDS] Nimbor Late Init / SMA", .body = Call<BdsNimborLateInit>, .nested = true},
    /* 11 */
    {.title = "TelemetrySendQueuedLogs",
     .lineKind = PhaseLine::ByBody,
     .body = Call<SendQueuedTelemetryLogs>},
    /* 12 */ {.body = Call<BackupFactoryVariable>},
    /* 13 */ {.title = "[BDS] IPMI Boot Option Init", .body = Call<BdsReadControllerBootFlags>},
    /* 14 */ {.body = Call<BdsSetNumLock>},
    /* 15 */ {.title = "[BDS] EndOfDxe/SmmReadyToLock", .body = BdsSignalEndOfDxe},
    /* 16 */
    {.title = "[BDS] Dispatch deferred images",
     .body = Call<BdsEfiBootManagerDispatchDeferredImages>},
    /* 17 */ {.title = "[BDS] Connect Consoles", .body = ConnectConsoles},
    /* 18 */ {.title = "[BDS] Process Capsules / RBU", .body = Call<BdsProcessCapsulesEarly>},
    /* 19 */ {.title = "[BDS] Set Boot Task", .body = SetBootTask},
    /* 20 */ {.title = "[BDS] Start Pause Key", .body = Call<BdsStartPauseKey>},
    /* 21 */ {.title = "[BDS] NDC Init", .body = Call<BdsNdcInit>},
    /* 22 */ {.title = "[BDS] Check OS TPM Requests", .body = CheckOsTpmRequests},
    /* 23 */ {.title = "[BDS] MFG Mode Init", .body = InitializeManufacturing},
    /* 24 */ {.title = "[BDS] Send FW info to Nimbor", .body = Call<BdsSendFqddFwInfo>},
    /* 25 */
    {.title = "[BDS] Handle Https Cert Bios/Nimbor sync", .body = SyncHttpsCertificates},
    /* 26 */
    {.title = "[BDS] Special Boot task handling",
     .lineKind = PhaseLine::ByBody,
     .body = HandleSpecialBootTask},
    /* 27 */
    {.title = "[BDS] Detach Forgeline Partition", .body = Call<BdsDetachForgelinePartition>},
    /* 28 */
    {.title = "[BDS] Check System Password",
     .runsWhen = NotForgelineOrSmaTask,
     .body = Call<BdsCheckSystemPassword>},
    /* 29 */
    {.title = "[BDS] Build Early SMBIOS Tables", .body = Call<BdsBuildEarlySmbiosTables>},
    /* 30 */
    {.title = "[BDS] Send Nimbor PCIe SSD Bay & Slot IDs", .body = SendPcieSsdLocations},
    /* 31 */ {.title = "[BDS] Init DLP", .body = Call<BdsInitDeviceLocations>},
    /* 32 */ {.title = "[BDS] Check Config Lockdown", .body = Call<BdsCheckConfigLockdown>},
    /* 33 */ {.title = "[BDS] Send Nimbor USB Config", .body = Call<BdsSendUsbConfig>},
    /* 34 */
    {.title = "[BDS] Check Service Tag",
     .runsWhen = ServiceTagCheckWanted,
     .body = Call<BdsCheckServiceTag>,
     .otherwise = LogServiceTagSkipped},
    /* 35 */
    {.title = "[BDS] Hotkey Enabled", .runsWhen = HotKeysWanted, .body = Call<BdsHotkeyEnable>},
    /* 36 */ {.title = "[BDS] Check Password Jumper", .body = Call<BdsCheckPasswordJumper>},
    /* 37 */ {.title = "[BDS] Process Asset Tag", .body = Call<BdsProcessAssetTag>},
    /* 38 */
    {.title = "Check Liquid Cooling Config",
     .lineKind = PhaseLine::Text,
     .line = "[BDS] Check Liquid Cooling Config",
     .runsWhen = LiquidCoolingCheckWanted,
     .body = Call<BdsCheckLqcConfig>},
    /* 39 */ {.title = "[BDS] Mem Test", .lineKind = PhaseLine::ByBody, .body = MemTest},
    /* 40 */ {.body = DropOneBootMemoryRequest},
    /* 41 */
    {.title = "[BDS] Nimbor Process POST Event", .body = Call<BdsNimborProcessPostEvent>},
    /* 42 */ {.title = "[BDS] Init RIPS", .body = InitializeRips},
    /* 43 */
    {.title = "[BDS] Register DLP Event",
     .lineKind = PhaseLine::Text,
     .line = "[BDS] Register DLP Event for updating DLP after ConnectAll.",
     .body = Call<BdsRegisterDeviceLocationEvent>},
    /* 44 */ {.title = "[BDS] Program CPU VR", .body = Call<CpuVrPogramUnderReport>},
    /* 45 */ {.runsWhen = MasterWriteReadWanted, .body = SendMasterWriteRead},
    /* 46 */
    {.title = "[BDS] NVMe Unlock Status Check", .body = Call<BdsNvmeUnlockStatusCheck>},
    /* 47 */
    {.title = "[BDS] Connect All",
     .lineKind = PhaseLine::Text,
     .line = "[BDS] Connect All Controllers",
     .body = ConnectAllControllers},
    // The title says which way it goes: "[BDS] NVME Preboot Hotplug - Enabled" or "- Disabled".
    /* 48 */ {.body = NvmePrebootHotplug},
    /* 49 */ {.body = Call<CheckNvidiaTypeCUsbSecurity>},
    /* 50 */ {.title = "[BDS] Send Nimbor SATA Info", .body = Call<BdsNimborSendSataInfo>},
    /* 51 */
    {.title = "[BDS] Check Secure Boot Pending Task", .body = CheckSecureBootPendingTask},
    /* 52 */
    {.title = "[BDS] Nimbor SIO Config",
     .runsWhen = ComPortsSwapped,
     .body = Call<SuperIoSwapComPorts>},
    /* 53 */
    {.title = "[BDS] MFG Mode Set PXE",
     .lineKind = PhaseLine::ByBody,
     .body = Call<BdsMfgModeSetPxe>},
    /* 54 */ {.runsWhen = ConfigurationBootSet, .body = SignalConfigurationBoot},
    /* 55 */
    {.title = "[BDS] Process OEM ID", .runsWhen = TaskIsIdModule, .body = ProcessOemId},
    /* 56 */ {.title = "[BDS] Build SMBIOS Tables", .body = Call<BdsBuildSmbiosTables>},
    /* 57 */ {.body = Call<BdsPersonalityModuleOemSmbiosBackup>},
    /* 58 */ {.title = "[BDS] Report TPM Error", .body = ReportTpmError},
    /* 59 */
    {.title = "[BDS] Connect iSCSI", .runsWhen = UefiBoot, .body = Call<BdsIscsiConnect>},
    /* 60 */
    {.title = "[BDS] Connect NVMe-oF", .runsWhen = UefiBoot, .body = Call<BdsNvmeofConnect>},
    /* 61 */
    {.title = "[BDS] Hotkey Stop", .runsWhen = NotConfigurationBoot, .body = Call<BdsHotkeyStop>},
    /* 62 */
    {.title = "[BDS] Enum Boot Options",
     .runsWhen = BootOptionsWanted,
     .body = EnumerateOptions,
     .afterMeasurement = CheckAciShutdown},
    /* 63 */
    {.title = "[BDS] Usb/Tpm/Txt EndOfPost",
     .lineKind = PhaseLine::Text,
     .line = "[BDS] USB/TPM/TXT End of POST",
     .body = SignalUsbTxtEndOfPost},
    /* 64 */
    {.title = "[BDS] Blade Chassis Check",
     .lineKind = PhaseLine::ByBody,
     .body = BladeChassisCheck},
    /* 65 */
    {.title = "[BDS] Process SMA RTD",
     .runsWhen = TaskIsResetToDefaults,
     .body = ProcessSmaResetToDefaults},
    /* 66 */
    {.title = "[BDS] Nimbor Power Supply Status", .body = Call<BdsNimborGetPowerSupplyBootStatus>},
    /* 67 */ {.title = "[BDS] Nimbor End Of Post", .body = NimborEndOfPost},
    /* 68 */
    {.title = "[BDS] Process SMA Config Task",
     .runsWhen = TaskIsSmaJob,
     .body = ProcessSmaConfigTask},
    /* 69 */
    {.title = "[BDS] Process SMA BIOS Task(SYSERASE)", .body = ProcessSmaSystemErase},
    /* 70 */
    {.title = "[BDS] Process SMA BIOS Task(CONFIG_SET)", .body = ProcessSmaConfigurationSet},
    /* 71 */
    {.title = "[BDS] Process ACI Request",
     .lineKind = PhaseLine::Text,
     .line = "[BDS] Process ACI",
     .runsWhen = TaskIsAci,
     .body = ProcessAci},
    /* 72 */
    {.title = "[BDS] Process ACI Errors",
     .lineKind = PhaseLine::Text,
     .line = "[BDS] Process ACI errors (if any)",
     .body = Call<BdsProcessAciErrors>},
    /* 73 */ {.title = "[BDS] OEM ID EndOfPost", .body = Call<BdsOemIdEndOfPost>},
    /* 74 */ {.title = "[BDS] Secure Boot State Check", .body = Call<BdsSecureBootStateCheck>},
    /* 75 */ {.title = "[BDS] RIPS Report Error", .body = ReportRipsError},
    /* 76 */ {.title = "[BDS] Stop Pause Key", .body = StopPauseKey},
    /* 77 */
    {.title = "[BDS] Check Password Dis Message", .body = Call<BdsCheckPasswordDisabledMessage>},
    /* 78 */ {.body = SetConsoleAttribute},
    /* 79 */ {.title = "[BDS] Process POST Errors", .body = ProcessPostErrors},
    /* 80 */
    {.title = "[BDS] Enable Video Write Combining", .body = Call<BdsEnableVideoWriteCombining>},
    /* 81 */ {.title = "[BDS] Disable APIC Timer", .body = MaskLocalApicTimer},
    /* 82 */ {.title = "[BDS] Process Hot Keys", .body = ProcessHotKeys},
    /* 83 */
    {.title = "[BDS] Process IPMI Boot if Requested",
     .runsWhen = TaskIsControllerBoot,
     .body = ProcessControllerBoot},
    /* 84 */
    {.title = "[BDS] Process Forgeline SSM/GUI/BSP",
     .lineKind = PhaseLine::ByBody,
     .body = ProcessForgelineRequests},
    /* 85 */
    {.title = "[BDS] Extended POST", .lineKind = PhaseLine::ByBody, .body = Call<BdsExtendedPost>},
    /* 86 */ {.runsWhen = SecureBootTaskPending, .body = ResetAfterSecureBootTask},
    /* 87 */ {.runsWhen = ConfigurationBootDone, .body = ResetAfterConfigurationBoot},
    /* 88 */ {.title = "[BDS] Process One Time Boot", .body = Call<BdsProcessOneTimeBoot>},
    /* 89 */ {.body = BdsCheckChassisSledInfo},
    /* 90 */ {.body = DefaultBootForever},
});

constexpr UINTN kNimborLateInit = 10;

// A line of its own goes with PhaseLine::Text, and nothing that is written or measured goes without
// a title.
constexpr bool RowsAreWellFormed() {
    for (const Phase& phase : kPhases) {
        const bool hasText = phase.line != nullptr;
        const bool untitled = phase.title == nullptr;
        if (hasText != (phase.lineKind == PhaseLine::Text) ||
            (untitled && (hasText || phase.progressBeforeLine != 0 || phase.nested))) {
            return false;
        }
    }
    return true;
}
static_assert(kPhases.size() == 91);
static_assert(RowsAreWellFormed());
static_assert(kPhases[kNimborLateInit].nested);

} // namespace

std::span<const Phase> PhaseTable() {
    return kPhases;
}

const Phase& NimborLateInitPhase() {
    return kPhases[kNimborLateInit];
}

} // namespace kelm
