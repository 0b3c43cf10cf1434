#include "console/KeyWait.h"

#include "library/firmware/Event.h"
#include "uefi/SimpleTextInput.h"

#include <algorithm>
#include <array>

namespace kelm {

namespace {

constexpr UINT64 kLookForKeyboard = 10'000'000; // a second
constexpr UINTN kMaxPendingKeys = 4096;

} // namespace

void DiscardKeys() {
    EFI_INPUT_KEY key;
    for (UINTN i = 0; gST->ConIn != nullptr && i < kMaxPendingKeys; i++) {
        if (EFI_ERROR(gST->ConIn->ReadKeyStroke(gST->ConIn, &key))) {
            return;
        }
    }
}

UINT16 WaitForScanCode(std::span<const UINT16> accepted, UINT64 time) {
    const bool timed = time != kWaitForEver;
    Event timer;
    static_cast<void>(timer.Create(EVT_TIMER));
    if (timed && timer) {
        static_cast<void>(gBS->SetTimer(timer.get(), TimerRelative, time));
    }
    for (;;) {
        EFI_SIMPLE_TEXT_INPUT_PROTOCOL* input = gST->ConIn;
        EFI_INPUT_KEY key{};
        while (input != nullptr && !EFI_ERROR(input->ReadKeyStroke(input, &key))) {
            if (std::find(accepted.begin(), accepted.end(), key.ScanCode) != accepted.end()) {
                return key.ScanCode;
            }
        }
        std::array<EFI_EVENT, 2> events{};
        UINTN count = 0;
        if (input != nullptr) {
            events[count++] = input->WaitForKey;
        } else if (!timed && timer) {
            static_cast<void>(gBS->SetTimer(timer.get(), TimerRelative, kLookForKeyboard));
        }
        if (timer && (timed || input == nullptr)) {
            events[count++] = timer.get();
        }
        UINTN index = 0;
        if (count == 0 || EFI_ERROR(gBS->WaitForEvent(count, events.data(), &index))) {
            return SCAN_NULL;
        }
        if (timed && events[index] == timer.get()) {
            return SCAN_NULL;
        }
    }
}

} // namespace kelm
