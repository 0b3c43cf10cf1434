#include "console/KeyInput.h"

#include "library/firmware/Services.h"

namespace kelm {

namespace {

constexpr UINTN kRetryInterval = 50'000; // microseconds

} // namespace

EFI_STATUS ReadKey(EFI_INPUT_KEY& key) {
    EFI_SIMPLE_TEXT_INPUT_PROTOCOL* input = gST->ConIn;
    return input == nullptr ? EFI_NOT_FOUND : input->ReadKeyStroke(input, &key);
}

EFI_INPUT_KEY PollKey() {
    EFI_INPUT_KEY key{};
    for (;;) {
        const EFI_STATUS status = ReadKey(key);
        if (!EFI_ERROR(status)) {
            return key;
        }
        if (status != EFI_NOT_READY) {
            static_cast<void>(gBS->Stall(kRetryInterval));
        }
    }
}

} // namespace kelm
