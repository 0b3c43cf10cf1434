#include "core/HotKeys.h"

#include "boot/ControllerBootFlags.h"
#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/PlatformPolicy.h"
#include "core/UserEntries.h"
#include "library/firmware/Event.h"
#include "post/Passwords.h"

#include <utility>

namespace kelm {

namespace {

constexpr UINT64 kWindow = 40'000'000;  // 4 seconds in 100 ns
constexpr UINTN kPollInterval = 50'000; // microseconds

struct KeyChoice {
    UINT16 scanCode;
    HotKey choice;
};
constexpr KeyChoice kKeys[] = {
    {SCAN_F2, HotKey::F2Setup},         {SCAN_F10, HotKey::F10Forgeline},
    {SCAN_F11, HotKey::F11BootManager}, {SCAN_F12, HotKey::F12Pxe},
    {SCAN_ESC, HotKey::None}, // takes back the key before
};

bool IsF10Registered() {
    auto* policy = BdsPlatformPolicy();
    return policy == nullptr || policy->IsF10Hidden(policy) == FALSE;
}

bool IsPxePasswordRequired() {
    auto* policy = BdsPlatformPolicy();
    return policy != nullptr && policy->IsPxePasswordRequired(policy) != FALSE;
}

// The last key wins.
EFI_STATUS EFIAPI OnKey(EFI_KEY_DATA* pressed) {
    for (const KeyChoice& key : kKeys) {
        const bool ignored = key.choice == HotKey::F10Forgeline && gDriver.hotKeys.f10Suppressed;
        if (key.scanCode == pressed->Key.ScanCode && !ignored) {
            gDriver.boot.hotKey = key.choice;
        }
    }
    static_cast<void>(BdsUpdateHotKeyPrompt());
    return EFI_SUCCESS;
}

// From the first keyboard on the user sees the keys and has four seconds for them.
void OpenWindow() {
    static_cast<void>(BdsUpdateHotKeyPrompt());
    Event timer;
    if (!EFI_ERROR(timer.Create(EVT_TIMER)) &&
        !EFI_ERROR(gBS->SetTimer(timer.get(), TimerRelative, kWindow))) {
        gDriver.hotKeys.timer = timer.release();
    }
}

void OnKeyboard(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* input) {
    HotKeyState& state = gDriver.hotKeys;
    if (!std::exchange(state.windowOpened, true)) {
        OpenWindow();
    }
    for (const KeyChoice& key : kKeys) {
        if (key.scanCode != SCAN_F10 || IsF10Registered()) {
            static_cast<void>(WatchKey(state.watch, input, key.scanCode, OnKey));
        }
    }
}

void WaitForEndOfWindow() {
    Event timer;
    timer.reset(std::exchange(gDriver.hotKeys.timer, nullptr));
    while (timer && gBS->CheckEvent(timer.get()) == EFI_NOT_READY) {
        static_cast<void>(gBS->Stall(kPollInterval));
    }
}

EFI_STATUS ActOn(HotKey key) {
    switch (key) {
    case HotKey::F2Setup:
        static_cast<void>(BdsClearControllerSetupRequest());
        return BdsEnterSetup();
    case HotKey::F11BootManager:
        static_cast<void>(BdsClearControllerSetupRequest());
        return BdsEnterBootManager();
    case HotKey::F12Pxe:
        if (IsPxePasswordRequired()) {
            const EFI_STATUS status = BdsCheckAdminPassword();
            if (EFI_ERROR(status)) {
                return status;
            }
        }
        static_cast<void>(BdsClearControllerPxeRequest());
        BdsBootPxe();
        return EFI_SUCCESS;
    case HotKey::F10Forgeline:
        static_cast<void>(BdsClearControllerForgelineRequest());
        return BdsEnterForgelineGui();
    case HotKey::None:
        break;
    }
    return EFI_SUCCESS;
}

} // namespace

EFI_STATUS BdsHotkeyEnable() {
    BootState& boot = gDriver.boot;
    boot.hotKey = boot.bootTask == BootTask::ForcePxe ? HotKey::F12Pxe : HotKey::None;
    return StartKeyWatch(gDriver.hotKeys.watch, OnKeyboard);
}

EFI_STATUS BdsHotkeyStop() {
    WaitForEndOfWindow();
    StopKeyWatch(gDriver.hotKeys.watch);
    return BdsClearHotKeyPrompt();
}

EFI_STATUS BdsProcessHotKeys() {
    BootState& boot = gDriver.boot;
    boot.hotKeysProcessing = true;
    const EFI_STATUS status = ActOn(boot.hotKey);
    boot.hotKeysDone = true;
    boot.hotKeysProcessing = false;
    return status;
}

} // namespace kelm
