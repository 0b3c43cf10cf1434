#include "boot/PreBoot.h"

#include "console/Print.h"
#include "console/VideoConsole.h"
#include "core/BootMode.h"
#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/ManufacturingMode.h"
#include "core/Progress.h"
#include "core/Splash.h"
#include "kelm/BootAttemptProtocols.h"
#include "library/firmware/Event.h"
#include "library/firmware/Measurement.h"
#include "library/firmware/Protocol.h"
#include "mgmt/FirmwareInventory.h"
#include "platform/BoardPolicies.h"
#include "platform/UsbPorts.h"
#include "post/PostDisplay.h"
#include "services/ControllerStartup.h"
#include "uefi/SimpleTextInput.h"
#include "uefi/SimpleTextOutput.h"

namespace kelm {

namespace {

constexpr UINTN kLightGreyOnBlack = 0x07;

void TellUefiBootStart() {
    static_cast<void>(BdsGetBootMode());
    if (gDriver.boot.bootMode != kBootModeUefi) {
        return;
    }
    if (auto* service = FindProtocol<KelmUefiBootStartProtocol>()) {
        static_cast<void>(service->BootStarting(service));
    }
}

void CleanUpForgeline() {
    const Measurement measurement("ForgelineCleanup", "BDS");
    static_cast<void>(BdsForgelineCleanup());
}

void SignalReadyToBoot() {
    BdsReportProgress(kProgressReadyToBoot);
    {
        const Measurement measurement("Rdy2Boot", "BDS");
        static_cast<void>(SignalEventGroup(gEfiEventReadyToBootGuid));
    }
    BdsReportProgress(kProgressReadyToBootEvent);
}

void ResetConsoles() {
    if (gST->ConIn != nullptr) {
        static_cast<void>(gST->ConIn->Reset(gST->ConIn, FALSE));
    }
    if (gST->ConOut != nullptr) {
        static_cast<void>(gST->ConOut->SetAttribute(gST->ConOut, kLightGreyOnBlack));
    }
}

// What listens for the end of the controller's part, then the end of that part. POST messages may
// have opened the interface again, so this is done after them once more.
void CloseControllerInterface() {
    if (auto* listener = FindService<KelmReadyToBootNotifyProtocol>()) {
        static_cast<void>(listener->ReadyToBoot(listener));
    }
    static_cast<void>(BdsCloseSmaInterface());
}

} // namespace

void BdsPrepareBootAttempt() {
    TellUefiBootStart();
    BdsLockCpld();
    gDriver.launch.manufacturingMode = BdsGetManufacturingMode();
    BdsManufacturingLeavePost();
    static_cast<void>(BdsRebuildInventory());
    CleanUpForgeline();
    SignalReadyToBoot();
    BdsUsbAllOffDelay();
    ResetConsoles();
    WarnDisabledOnboardVideo();
    static_cast<void>(BdsNimborReadyToBoot());
    CloseControllerInterface();
    static_cast<void>(BdsProcessPostErrors(false));
    CloseControllerInterface();
    if (gDriver.boot.splashActive) {
        BdsShowSplash(false);
    }
    EndMeasurement("BDS", nullptr);
}

} // namespace kelm
