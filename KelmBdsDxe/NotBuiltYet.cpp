// The one list of what the driver calls and does not have yet. Every function here has its final
// name and signature, does nothing and says EFI_UNSUPPORTED (or the answer that leaves the boot
// normal). The file shrinks with every piece that is built, and goes with the last.

#include "boot/ControllerBoot.h"
#include "boot/ControllerBootFlags.h"
#include "console/SerialConsole.h"
#include "console/SerialSettings.h"
#include "console/SuperIo.h"
#include "console/VideoConsole.h"
#include "console/WriteCombining.h"
#include "legacy/BbsTable.h"
#include "legacy/LegacyDefaultOrders.h"
#include "legacy/LegacyEnumeration.h"
#include "legacy/LegacyOption.h"
#include "legacy/MemoryTypeInformation.h"
#include "mgmt/ConfigLock.h"
#include "mgmt/FactoryVariable.h"
#include "mgmt/FirmwareInventory.h"
#include "mgmt/PowerBudget.h"
#include "mgmt/Rci2Table.h"
#include "mgmt/ServiceTag.h"
#include "mgmt/SmaJobs.h"
#include "mgmt/SmallSteps.h"
#include "mgmt/SmbiosTables.h"
#include "network/IscsiConnect.h"
#include "network/IscsiDisks.h"
#include "network/NetBootPath.h"
#include "network/NetworkDevices.h"
#include "network/NicList.h"
#include "network/NvmeofConnect.h"
#include "network/NvmeofDisks.h"
#include "platform/BoardPolicies.h"
#include "platform/CpuVoltageRegulator.h"
#include "platform/ExtendedPost.h"
#include "platform/GpuUsb.h"
#include "platform/MemoryTest.h"
#include "platform/SecureBootState.h"
#include "platform/UsbPorts.h"
#include "post/LiquidCooling.h"

namespace kelm {

// boot
EFI_STATUS BdsApplyPersistentControllerBootRequest() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsBootIpmiBootOption() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsReadControllerBootFlags() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsClearControllerBootFlags() {
    return EFI_UNSUPPORTED;
}
ControllerBootRequest BdsGetControllerBootRequest() {
    return {};
}
bool BdsIsControllerBootOverride() {
    return false;
}
bool BdsIsRedirectionEnableRequested() {
    return false;
}
bool BdsIsRedirectionSuppressRequested() {
    return false;
}
void BdsShowControllerBootRequest() {}
EFI_STATUS BdsClearControllerSetupRequest() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsClearControllerForgelineRequest() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsClearControllerPxeRequest() {
    return EFI_UNSUPPORTED;
}

// console
void WarnDisabledOnboardVideo() {}
bool StopDisabledOnboardVideo() {
    return false;
}
bool BdsSetupSerialConsoleDevicePath() {
    return false;
}
void BdsUpdateSerialConsole(bool) {}
void BdsSerialConsolePostConnect(bool, UINT8) {}
EFI_STATUS SetBrowserMode(UINT8) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS GetSerialRedirectionSettings(SERIAL_REDIRECTION_SETTINGS*) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsAddVgaToConOut() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS SuperIoSwapComPorts() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsEnableVideoWriteCombining() {
    return EFI_UNSUPPORTED;
}

// legacy
EFI_STATUS BdsEnumerateLegacyBootOptions() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsBuildDefaultLegacyOrders() {
    return EFI_UNSUPPORTED;
}
void BdsUpdateMemoryTypeInformation() {}
EFI_STATUS BdsGetBbsEntryDevicePath(const BBS_TABLE*, EFI_DEVICE_PATH_PROTOCOL**) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsGetLegacyOptionDevices(UINT16, UINT16**, UINTN*) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsSetLegacyOptionDeviceOrder(UINT16, const UINT16*, UINTN) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsGetLegacyDeviceEntry(UINT16, void**) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsGetLegacyDeviceDescription(UINT16, CHAR16**) {
    return EFI_UNSUPPORTED;
}

// mgmt
EFI_STATUS BdsRebuildInventory() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsCheckConfigLockdown() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BackupFactoryVariable() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsSendFqddFwInfo() {
    return EFI_UNSUPPORTED;
}
void BdsNimborGetPowerSupplyBootStatus() {}
EFI_STATUS BdsCheckServiceTag() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsProcessSmaUpdateTask() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsProcessSmaJob(UINT32) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsSendNimborPid() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsProcessCapsulesEarly() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsEnablePciDecode() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsProcessPciDevices() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsNdcInit() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsProcessAssetTag() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsNvmeUnlockStatusCheck() {
    return EFI_UNSUPPORTED;
}
bool BdsCheckVmdEnabled() {
    return false;
}
EFI_STATUS BdsEnableNvmePrebootHotplug() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsDisableNvmePrebootHotplug() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsCheckAciShutdown() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsBladeChassisCheck() {
    return EFI_UNSUPPORTED;
}
bool BdsIsResetToDefaultsRequested() {
    return false;
}
EFI_STATUS BdsBuildRci2Table() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsProcessSmaResetToDefaults() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsProcessAci() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsProcessAciErrors() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsBuildEarlySmbiosTables() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsBuildSmbiosTables() {
    return EFI_UNSUPPORTED;
}

// network
EFI_STATUS BdsCreateNicList() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsUpdateNetworkDeviceAttributes() {
    return EFI_UNSUPPORTED;
}
bool IsNetworkDeviceEnabled(const EFI_DEVICE_PATH_PROTOCOL*) {
    return false;
}
EFI_STATUS BdsGetUefiNetworkNicAttributeFqdd(const CHAR16*, CHAR16**) {
    return EFI_NOT_FOUND;
}
bool IsIscsiBootDiskPath(const EFI_DEVICE_PATH_PROTOCOL*) {
    return false;
}
const EFI_DEVICE_PATH_PROTOCOL* BdsFindIscsiBootFileSystem() {
    return nullptr;
}
bool BdsIsNvmeofSubsystemDevicePath(const EFI_DEVICE_PATH_PROTOCOL*, UINT8) {
    return false;
}
const EFI_DEVICE_PATH_PROTOCOL* BdsFindNvmeofDiskByNqn(UINT8) {
    return nullptr;
}
PoolPtr<CHAR16> BdsGetNvmeofInterfaceLocation(UINT8) {
    return {};
}
EFI_STATUS BdsGetNvmeofDevController(const CHAR16*, EFI_HANDLE*) {
    return EFI_NOT_FOUND;
}
bool IsPxeIscsiVlanConflict(const EFI_DEVICE_PATH_PROTOCOL*) {
    return false;
}
PoolPtr<EFI_DEVICE_PATH_PROTOCOL>
BdsGetUefiNetworkDeviceNetBootDevicePath(const EFI_DEVICE_PATH_PROTOCOL*) {
    return {};
}
EFI_STATUS BdsIscsiConnect() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsNvmeofConnect() {
    return EFI_UNSUPPORTED;
}

// platform
EFI_STATUS BdsCheckVacRequest(bool) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsSetNumLock() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsGetMemTest(UINT32*) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS CpuVrPogramUnderReport() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsExtendedPost() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS CheckNvidiaTypeCUsbSecurity() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsMemoryTest(bool) {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsSecureBootStateCheck() {
    return EFI_UNSUPPORTED;
}
EFI_STATUS BdsSendUsbConfig() {
    return EFI_UNSUPPORTED;
}

// post
EFI_STATUS BdsCheckLqcConfig() {
    return EFI_UNSUPPORTED;
}

} // namespace kelm
