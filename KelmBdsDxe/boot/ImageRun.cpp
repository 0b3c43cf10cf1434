#include "boot/ImageRun.h"

#include "boot/NativeResolution.h"
#include "boot/PageZero.h"
#include "console/Print.h"
#include "console/VideoConsole.h"
#include "core/DriverState.h"
#include "core/Progress.h"
#include "kelm/ManufacturingModeProtocol.h"
#include "kelm/PostMessages.h"
#include "legacy/MemoryTypeInformation.h"
#include "library/firmware/Assert.h"
#include "library/firmware/Pcd.h"
#include "library/firmware/Protocol.h"
#include "mgmt/SmaJobs.h"
#include "post/PasswordEntry.h"
#include "post/PostMessages.h"
#include "services/ControllerStartup.h"
#include "uefi/LoadedImage.h"
#include "uefi/SimpleTextOutput.h"
#include "uefi/WatchdogTimerArch.h"

namespace kelm {

namespace {

constexpr UINT32 kOptionCategory = 0x1F00; // LOAD_OPTION_CATEGORY
constexpr UINTN kWatchdogSeconds = 300;
constexpr UINTN kThreeSeconds = 3'000'000; // microseconds

void LearnMemoryUse(const BootOptionRecord& option) {
    if ((option.Attribute & kOptionCategory) == 0 &&
        gDriver.launch.manufacturingMode == kManufacturingModeOff &&
        PcdGetBool(kPcdMemoryTypeInformation) && !BdsMfgSuppressReboots()) {
        BdsUpdateMemoryTypeInformation();
    }
}

void PrepareScreen() {
    if (gST->ConOut == nullptr) {
        return;
    }
    static_cast<void>(gST->ConOut->EnableCursor(gST->ConOut, TRUE));
    const bool stopped = StopDisabledOnboardVideo();
    if (PcdGetBool(kPcdNativeResolution) && stopped) {
        BdsSetNativeResolution();
    }
}

void HandOverOptionalData(EFI_HANDLE image, const BootOptionRecord& option) {
    auto* loadedImage = ProtocolOnHandle<EFI_LOADED_IMAGE_PROTOCOL>(image);
    KELM_ASSERT(loadedImage != nullptr);
    if (loadedImage != nullptr && option.LoadOptions != nullptr) {
        loadedImage->LoadOptionsSize = option.LoadOptionsSize;
        loadedImage->LoadOptions = option.LoadOptions;
    }
}

void EFIAPI OnWatchdog(UINT64) {
    static_cast<void>(RegisterPostMessage(kPostMessageBootWatchdog));
}

void WatchTheWatchdog() {
    if (auto* watchdog = FindProtocol<EFI_WATCHDOG_TIMER_ARCH_PROTOCOL>()) {
        static_cast<void>(watchdog->RegisterHandler(watchdog, OnWatchdog));
    }
}

EFI_STATUS StartUnderWatchdog(EFI_HANDLE image, UINTN* exitDataSize, CHAR16** exitData) {
    WatchTheWatchdog();
    static_cast<void>(gBS->SetWatchdogTimer(kWatchdogSeconds, 0, 0, nullptr));
    BdsReportProgress(kProgressStartBootImage);
    const EFI_STATUS status = gBS->StartImage(image, exitDataSize, exitData);
    DebugPrint(kDebugBdsInfoLoad, "BDS: Image Return Status = %r\n", status);
    static_cast<void>(gBS->SetWatchdogTimer(0, 0, 0, nullptr));
    return status;
}

// Opens the first page of memory for the time of the image, unless an image that runs already has
// it open.
class ImageStartBracket {
public:
    ImageStartBracket() : outermost_(!gDriver.launch.imageStartActive) {
        if (!outermost_) {
            return;
        }
        if (gDriver.boot.nullPageDetection != 0) {
            KELM_ASSERT(BdsIsPageZeroUnmapped());
        }
        static_cast<void>(BdsMakePageZeroAccessible());
        gDriver.launch.imageStartActive = true;
    }
    ImageStartBracket(const ImageStartBracket&) = delete;
    ImageStartBracket& operator=(const ImageStartBracket&) = delete;
    ~ImageStartBracket() {
        if (outermost_) {
            static_cast<void>(BdsMakePageZeroInaccessible());
            gDriver.launch.imageStartActive = false;
        }
    }

private:
    const bool outermost_;
};

// An image that ran is gone when it has failed; one that was not let run is still there.
void UnloadIfRefused(EFI_HANDLE image, EFI_STATUS status) {
    if (status == EFI_SECURITY_VIOLATION &&
        ProtocolOnHandle<EFI_LOADED_IMAGE_PROTOCOL>(image) != nullptr) {
        static_cast<void>(gBS->UnloadImage(image));
    }
}

} // namespace

EFI_STATUS BdsRunBootImage(EFI_HANDLE image, const BootOptionRecord& option, UINTN* exitDataSize,
                           CHAR16** exitData) {
    LearnMemoryUse(option);
    PrepareScreen();
    HandOverOptionalData(image, option);
    static_cast<void>(BdsPasswordEntryBegin());
    static_cast<void>(BdsNimborBeforeImageStart());
    EFI_STATUS status = EFI_SUCCESS;
    {
        const ImageStartBracket bracket;
        status = StartUnderWatchdog(image, exitDataSize, exitData);
    }
    static_cast<void>(BdsPasswordEntryEnd());
    UnloadIfRefused(image, status);
    if (EFI_ERROR(status)) {
        PrintString(u"\n");
        static_cast<void>(gBS->Stall(kThreeSeconds));
    }
    return status;
}

} // namespace kelm
