#include "core/PauseKey.h"

#include "console/KeyInput.h"
#include "console/KeyWait.h"
#include "console/Print.h"
#include "core/DriverState.h"
#include "library/firmware/Event.h"
#include "strings/Strings.h"

#include <utility>

namespace kelm {

namespace {

// Below the key notifications, so that hot keys work while POST is held, and above everything that
// POST does.
constexpr EFI_TPL kHoldingTpl = 7;
constexpr UINTN kPollInterval = 50'000; // microseconds

void WaitForOtherKey() {
    DiscardKeys();
    for (;;) {
        EFI_INPUT_KEY key{};
        const EFI_STATUS status = ReadKey(key);
        // Without a console nobody could let POST go on.
        if (status == EFI_NOT_FOUND || (!EFI_ERROR(status) && key.ScanCode != SCAN_PAUSE)) {
            return;
        }
        static_cast<void>(gBS->Stall(kPollInterval));
    }
}

// POST stands still for as long as this does not return.
void EFIAPI HoldPost(EFI_EVENT, void*) {
    bool& paused = gDriver.pauseKey.paused;
    if (!paused) {
        return; // Pause was pressed once more while POST was held
    }
    WaitForOtherKey();
    paused = false;
    static_cast<void>(PrintHiiString(kStringResuming));
}

EFI_STATUS EFIAPI OnPause(EFI_KEY_DATA*) {
    PauseKeyState& state = gDriver.pauseKey;
    if (!std::exchange(state.paused, true)) {
        PrintString(u"\n\r");
        static_cast<void>(PrintHiiString(kStringPaused));
        PrintString(u"\n\r");
    }
    return gBS->SignalEvent(state.hold);
}

void OnKeyboard(EFI_SIMPLE_TEXT_INPUT_EX_PROTOCOL* input) {
    static_cast<void>(WatchKey(gDriver.pauseKey.watch, input, SCAN_PAUSE, OnPause));
}

} // namespace

EFI_STATUS BdsStartPauseKey() {
    PauseKeyState& state = gDriver.pauseKey;
    static_cast<void>(BdsStopPauseKey());
    state.paused = false;
    Event hold;
    EFI_STATUS status = hold.Create(EVT_NOTIFY_SIGNAL, kHoldingTpl, HoldPost);
    if (EFI_ERROR(status)) {
        return status;
    }
    state.hold = hold.get(); // a key may come as soon as it is watched
    status = StartKeyWatch(state.watch, OnKeyboard);
    if (EFI_ERROR(status)) {
        state.hold = nullptr;
        return status;
    }
    static_cast<void>(hold.release());
    return EFI_SUCCESS;
}

EFI_STATUS BdsStopPauseKey() {
    StopKeyWatch(gDriver.pauseKey.watch);
    Event hold;
    hold.reset(std::exchange(gDriver.pauseKey.hold, nullptr));
    return EFI_SUCCESS;
}

} // namespace kelm
