#include "core/BdsInterface.h"

#include "boot/BootReports.h"
#include "boot/Launcher.h"
#include "bootopt/EnumerateBootOptions.h"
#include "bootopt/LoadOption.h"
#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/HotKeys.h"
#include "core/UserEntries.h"
#include "kelm/BdsInterfaceProtocol.h"
#include "legacy/LegacyOption.h"
#include "library/firmware/Assert.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "platform/Connect.h"
#include "post/Passwords.h"

namespace kelm {

namespace {

// Launches and reports; the launch status is returned unchanged.
EFI_STATUS LaunchAndReport(OwnedBootOption& option) {
    UINTN exitDataSize = 0;
    PoolPtr<CHAR16> exitData;
    const EFI_STATUS status =
        BdsLaunchBootOption(option.address(), nullptr, &exitDataSize, exitData.out());
    if (option.get() == nullptr) {
        return status;
    }
    const BootOptionRecord& launched = *option.get();
    if (EFI_ERROR(status)) {
        static_cast<void>(BdsReportBootFailure(launched.DevicePath, launched.Attribute,
                                               launched.Description, status));
    } else {
        static_cast<void>(BdsReportBootSuccess(launched.Description));
    }
    return status;
}

// An option that stands in no variable, described by the text of its path.
BootOptionRecord* MakeTransientOption(const EFI_DEVICE_PATH_PROTOCOL* path) {
    PoolPtr<BootOptionRecord> record = AllocateZeroPool<BootOptionRecord>();
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> pathCopy = DuplicateDevicePath(path);
    PoolPtr<CHAR16> description = DevicePathText(path);
    if (!record || !pathCopy || !description) {
        return nullptr;
    }
    record->Signature = kBootOptionSignature;
    record->DevicePath = pathCopy.release();
    record->Description = description.release();
    record->BootCurrent = kNoBootCurrent;
    return record.release();
}

void EFIAPI InterfaceEnumerateBootOptions() {
    static_cast<void>(EnumerateBootOptions());
}

EFI_STATUS EFIAPI InterfaceBootByOptionNumber(UINT16 optionNumber, UINT16) {
    OwnedBootOption option(BdsReadBootOption(optionNumber));
    return option.get() == nullptr ? EFI_INVALID_PARAMETER : LaunchAndReport(option);
}

EFI_STATUS EFIAPI InterfaceBootByDevicePath(EFI_DEVICE_PATH_PROTOCOL* path) {
    if (DevicePathSize(path) == 0) {
        return EFI_INVALID_PARAMETER; // null, or broken on the way
    }
    OwnedBootOption option(MakeTransientOption(path));
    return option.get() == nullptr ? EFI_OUT_OF_RESOURCES : LaunchAndReport(option);
}

void EFIAPI InterfaceNoOperation() {}

EFI_STATUS EFIAPI InterfaceSetInventoryRebuildRequest(BOOLEAN rebuild) {
    gDriver.boot.inventoryRebuildRequested = rebuild != FALSE;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI InterfaceGetLegacyOptionDevices(UINT16 optionNumber, UINT16** indexes,
                                                  UINTN* count) {
    return BdsGetLegacyOptionDevices(optionNumber, indexes, count);
}

EFI_STATUS EFIAPI InterfaceSetLegacyOptionDeviceOrder(UINT16 optionNumber, const UINT16* indexes,
                                                      UINTN count) {
    return BdsSetLegacyOptionDeviceOrder(optionNumber, indexes, count);
}

EFI_STATUS EFIAPI InterfaceGetLegacyDeviceEntry(UINT16 bbsIndex, void** entry) {
    return BdsGetLegacyDeviceEntry(bbsIndex, entry);
}

EFI_STATUS EFIAPI InterfaceGetLegacyDeviceDescription(UINT16 bbsIndex, CHAR16** description) {
    return BdsGetLegacyDeviceDescription(bbsIndex, description);
}

// May be called from an event handler while the phases run: before the hot keys are acted on it
// only leaves a note for that phase.
EFI_STATUS EFIAPI InterfaceSignalEnterSetup() {
    DebugPrint(kDebugBds, "BDS: Signal Enter Setup...\n");
    if (gDriver.boot.hotKeysProcessing || gDriver.boot.hotKeysDone) {
        return BdsEnterSetup();
    }
    gDriver.boot.hotKey = HotKey::F2Setup;
    static_cast<void>(BdsUpdateHotKeyPrompt());
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI InterfaceEnterForgeline() {
    return BdsInterfaceEnterForgeline();
}

EFI_STATUS EFIAPI InterfaceConnectAll() {
    return BdsConnectAll();
}

EFI_STATUS EFIAPI InterfaceCheckAdminPassword() {
    return BdsCheckAdminPassword();
}

constinit KelmBdsInterfaceProtocol mInterface = {
    .Revision = kKelmBdsInterfaceRevision,
    .EnumerateBootOptions = InterfaceEnumerateBootOptions,
    .BootByOptionNumber = InterfaceBootByOptionNumber,
    .BootByDevicePath = InterfaceBootByDevicePath,
    .NoOperation = InterfaceNoOperation,
    .SetInventoryRebuildRequest = InterfaceSetInventoryRebuildRequest,
    .GetLegacyOptionDevices = InterfaceGetLegacyOptionDevices,
    .SetLegacyOptionDeviceOrder = InterfaceSetLegacyOptionDeviceOrder,
    .GetLegacyDeviceEntry = InterfaceGetLegacyDeviceEntry,
    .GetLegacyDeviceDescription = InterfaceGetLegacyDeviceDescription,
    .SignalEnterSetup = InterfaceSignalEnterSetup,
    .EnterForgeline = InterfaceEnterForgeline,
    .ConnectAll = InterfaceConnectAll,
    .BdsCheckAdminPassword = InterfaceCheckAdminPassword,
};

} // namespace

void BdsInstallInterface() {
    const bool present = FindProtocol<KelmBdsInterfaceProtocol>() != nullptr;
    KELM_ASSERT(!present);
    const EFI_STATUS status = gBS->InstallMultipleProtocolInterfaces(
        &gDriver.core.interfaceHandle, &gKelmBdsInterfaceProtocolGuid, &mInterface, nullptr);
    KELM_ASSERT(!EFI_ERROR(status));
}

} // namespace kelm
