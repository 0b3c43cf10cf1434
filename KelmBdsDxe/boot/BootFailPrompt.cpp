#include "boot/BootFailPrompt.h"

#include "boot/PreBoot.h"
#include "console/Print.h"
#include "core/Forgeline.h"
#include "core/PlatformPolicy.h"
#include "core/Progress.h"
#include "core/UserEntries.h"
#include "library/firmware/Event.h"
#include "mgmt/ConfigLock.h"
#include "mgmt/FirmwareInventory.h"
#include "platform/BoardPolicies.h"
#include "platform/UsbPorts.h"
#include "post/PostDisplay.h"
#include "services/ControllerStartup.h"
#include "strings/Strings.h"
#include "uefi/SimpleTextInput.h"
#include "uefi/SimpleTextOutput.h"

#include <array>

namespace kelm {

namespace {

constexpr UINTN kLightGreyOnBlack = 0x07;
constexpr UINT64 kRetryTime = 300'000'000;      // 30 seconds in 100 ns
constexpr UINT64 kLookForKeyboard = 10'000'000; // a second
constexpr UINTN kMaxPendingKeys = 4096;

constexpr UINT16 kKeyF1 = 0x0B;
constexpr UINT16 kKeyF2 = 0x0C;
constexpr UINT16 kKeyF10 = 0x14;
constexpr UINT16 kKeyF11 = 0x15;

bool IsForgelineHidden() {
    auto* policy = BdsPlatformPolicy();
    if (policy != nullptr && policy->IsF10Hidden(policy) != FALSE) {
        return true;
    }
    UINT8 lock = 0;
    static_cast<void>(BdsGetConfigLock(&lock));
    return BdsF10Hidden() || lock != 0;
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

void DiscardKeys() {
    EFI_INPUT_KEY key;
    for (UINTN i = 0; gST->ConIn != nullptr && i < kMaxPendingKeys; i++) {
        if (EFI_ERROR(gST->ConIn->ReadKeyStroke(gST->ConIn, &key))) {
            return;
        }
    }
}

bool IsOffered(UINT16 scanCode, bool forgeline) {
    return scanCode == kKeyF1 || scanCode == kKeyF2 || scanCode == kKeyF11 ||
           (forgeline && scanCode == kKeyF10);
}

// The scan code of the first key that is offered; F1 when the time is over. Without a time it
// waits for ever.
UINT16 WaitForChoice(bool forgeline, bool timed) {
    Event timer;
    static_cast<void>(timer.Create(EVT_TIMER));
    if (timed && timer) {
        static_cast<void>(gBS->SetTimer(timer.get(), TimerRelative, kRetryTime));
    }
    for (;;) {
        EFI_SIMPLE_TEXT_INPUT_PROTOCOL* input = gST->ConIn;
        EFI_INPUT_KEY key{};
        while (input != nullptr && !EFI_ERROR(input->ReadKeyStroke(input, &key))) {
            if (IsOffered(key.ScanCode, forgeline)) {
                return key.ScanCode;
            }
        }
        std::array<EFI_EVENT, 2> events{};
        UINTN count = 0;
        if (input != nullptr) {
            events[count++] = input->WaitForKey;
        } else if (!timed && timer) {
            // A keyboard may still be plugged.
            static_cast<void>(gBS->SetTimer(timer.get(), TimerRelative, kLookForKeyboard));
        }
        const bool waitsForTimer = timer && (timed || input == nullptr);
        if (waitsForTimer) {
            events[count++] = timer.get();
        }
        UINTN index = 0;
        if (count == 0 || EFI_ERROR(gBS->WaitForEvent(count, events.data(), &index))) {
            return kKeyF1;
        }
        if (timed && events[index] == timer.get()) {
            return kKeyF1;
        }
    }
}

void Enter(UINT16 scanCode) {
    switch (scanCode) {
    case kKeyF2:
        static_cast<void>(BdsEnterSetup());
        break;
    case kKeyF10:
        static_cast<void>(BdsEnterForgelineGui());
        break;
    case kKeyF11:
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
    BdsCleanUpForgeline();
    if (gST->ConOut != nullptr) {
        static_cast<void>(gST->ConOut->SetAttribute(gST->ConOut, kLightGreyOnBlack));
    }
    static_cast<void>(BdsProcessPostErrors(false));
    static_cast<void>(BdsNimborReadyToBoot());
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
    Enter(WaitForChoice(forgeline, retry == kBootSeqRetryEnabled));
    PrintString(u"\n\r");
}

} // namespace kelm
