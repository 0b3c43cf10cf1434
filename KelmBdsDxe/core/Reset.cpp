#include "core/Reset.h"

#include "library/firmware/Services.h"

namespace kelm {

namespace {

constexpr UINTN kReadingTime = 3'000'000; // microseconds

} // namespace

void BdsWaitAndReset() {
    static_cast<void>(gBS->Stall(kReadingTime));
    gRT->ResetSystem(EfiResetWarm, EFI_SUCCESS, 0, nullptr);
}

} // namespace kelm
