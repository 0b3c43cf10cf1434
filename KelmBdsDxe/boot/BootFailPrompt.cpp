#include "boot/BootFailPrompt.h"

#include "console/KeyWait.h"
#include "console/Print.h"
#include "core/Forgeline.h"
#include "core/PlatformPolicy.h"
#include "core/Progress.h"
#include "core/UserEntries.h"
#include "library/firmware/Services.h"
#include "mgmt/ConfigLock.h"
#include "mgmt/FirmwareInventory.h"
#include "platform/BoardPolicies.h"
#include "platform/UsbPorts.h"
#include "post/PostDisplay.h"
#include "services/ControllerStartup.h"
#include "strings/Strings.h"
#include "uefi/SimpleTextInput.h"
#include "uefi/SimpleTextOutput.h"

#include <span>

namespace kelm {

namespace {

constexpr UINTN kLightGreyOnBlack = 0x07;
constexpr UINT64 kRetryTime = 300'000'000; // 30 seconds in 100 ns
constexpr UINT8 kConfigurationLocked = 1;

bool IsForgelineHidden() {
    auto* policy = BdsPlatformPolicy();
    if ((policy != nullptr && policy->IsF10Hidden(policy) != FALSE) || BdsF10Hidden()) {
        return true;
    }
    UINT8 lock = 0;
    static_cast<void>(BdsGetConfigLock(&lock));
    return lock == kConfigurationLocked;
}

void PrintOnOwnLine(UINT16 string) {
    PrintString(u"\n\r");
    static_cast<void>(PrintHiiString(string));
    PrintString(u"\n\r");
}

void WarnOfUsbPorts() {
    UINT32 enabled = 0;
    if (!EFI_ERROR(BdsGetUsbPortsEnabled(&enabled)) && enabled == 0) {
        PrintOnOwnLine(kStringUsbPortsDisabled);
    }
}

void Enter(UINT16 scanCode) {
    switch (scanCode) {
    case SCAN_F2:
        static_cast<void>(BdsEnterSetup());
        break;
    case SCAN_F10:
        static_cast<void>(BdsInterfaceEnterForgeline());
        break;
    case SCAN_F11:
        static_cast<void>(BdsEnterBootManager());
        break;
    default:
        break;
    }
}

} // namespace

void BdsBootFailPrompt(UINT16 title, std::span<const UINT16> lines) {
    const bool forgeline = !IsForgelineHidden() && BdsForgelineAvailable();
    static_cast<void>(BdsRebuildInventory());
    static_cast<void>(BdsForgelineCleanup());
    if (gST->ConOut != nullptr) {
        static_cast<void>(gST->ConOut->SetAttribute(gST->ConOut, kLightGreyOnBlack));
    }
    static_cast<void>(BdsProcessPostErrors(false));
    static_cast<void>(BdsNimborReadyToBoot());
    static_cast<void>(BdsCloseSmaInterface());
    BdsReportProgress(kProgressBootFailPrompt);
    static_cast<void>(PrintHiiString(title));
    for (const UINT16 line : lines) {
        PrintOnOwnLine(line);
    }
    WarnOfUsbPorts();
    UINT32 retry = kBootSeqRetryDisabled;
    static_cast<void>(BdsGetBootSeqRetry(&retry));
    if (retry == kBootSeqRetryReset) {
        gRT->ResetSystem(EfiResetCold, EFI_SUCCESS, 0, nullptr);
    }
    PrintOnOwnLine(forgeline ? kStringActionsWithForgeline : kStringActions);
    DiscardKeys();
    constexpr UINT16 kKeys[] = {SCAN_F1, SCAN_F2, SCAN_F11, SCAN_F10};
    const std::span<const UINT16> offered(kKeys, forgeline ? 4 : 3);
    Enter(WaitForScanCode(offered, retry == kBootSeqRetryEnabled ? kRetryTime : kWaitForEver));
    PrintString(u"\n\r");
}

} // namespace kelm
