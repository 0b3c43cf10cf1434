#include "core/BdsInterface.h"

#include "boot/Launcher.h"
#include "bootopt/EnumerateBootOptions.h"
#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/HotKeys.h"
#include "core/UserEntries.h"
#include "kelm/BdsInterfaceProtocol.h"
#include "legacy/LegacyOption.h"
#include "library/firmware/Assert.h"
#include "library/firmware/Protocol.h"
#include "platform/Connect.h"
#include "post/Passwords.h"

namespace kelm {

namespace {

void EFIAPI InterfaceEnumerateBootOptions() {
    static_cast<void>(EnumerateBootOptions());
}

EFI_STATUS EFIAPI InterfaceBootByOptionNumber(UINT16 optionNumber, UINT16 deviceIndex) {
    return BdsBootByOptionNumber(optionNumber, deviceIndex);
}

EFI_STATUS EFIAPI InterfaceBootByDevicePath(EFI_DEVICE_PATH_PROTOCOL* path) {
    return BdsBootByDevicePath(path);
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
