#include "platform/DeferredImages.h"

#include "library/firmware/Protocol.h"
#include "uefi/DeferredImageLoad.h"

namespace kelm {

namespace {

constexpr UINTN kStartTimeoutSeconds = 300;
constexpr UINT64 kWatchdogCode = 0; // firmware's own

void SetWatchdog(UINTN seconds) {
    static_cast<void>(gBS->SetWatchdogTimer(seconds, kWatchdogCode, 0, nullptr));
}

// True when the image was loaded, whatever came of its start.
bool LoadAndStart(EFI_DEVICE_PATH_PROTOCOL* path, BOOLEAN bootOption) {
    EFI_HANDLE image = nullptr;
    const EFI_STATUS status = gBS->LoadImage(bootOption, gImageHandle, path, nullptr, 0, &image);
    if (EFI_ERROR(status)) {
        // Loaded all the same, but not to be started.
        if (status == EFI_SECURITY_VIOLATION && image != nullptr) {
            static_cast<void>(gBS->UnloadImage(image));
        }
        return false;
    }
    SetWatchdog(kStartTimeoutSeconds);
    static_cast<void>(gBS->StartImage(image, nullptr, nullptr));
    SetWatchdog(0);
    return true;
}

} // namespace

EFI_STATUS BdsEfiBootManagerDispatchDeferredImages() {
    constexpr char kName[] = "BdsEfiBootManagerDispatchDeferredImages";
    DebugPrint(kDebugBdsInfo, "%a Entry\n", kName);
    HandleBuffer instances;
    if (EFI_ERROR(instances.LocateByProtocol(gEfiDeferredImageLoadProtocolGuid))) {
        return EFI_NOT_FOUND;
    }
    DebugPrint(kDebugBdsInfo, "  HandleCount = %d\n", instances.handles().size());
    UINTN imageCount = 0;
    UINTN loadCount = 0;
    for (EFI_HANDLE handle : instances.handles()) {
        auto* deferred = ProtocolOnHandle<EFI_DEFERRED_IMAGE_LOAD_PROTOCOL>(handle);
        for (UINTN index = 0; deferred != nullptr; ++index) {
            EFI_DEVICE_PATH_PROTOCOL* path = nullptr;
            void* image = nullptr;
            UINTN imageSize = 0;
            BOOLEAN bootOption = FALSE;
            if (EFI_ERROR(deferred->GetImageInfo(deferred, index, &path, &image, &imageSize,
                                                 &bootOption))) {
                break;
            }
            ++imageCount;
            loadCount += LoadAndStart(path, bootOption) ? 1 : 0;
        }
    }
    DebugPrint(kDebugBdsInfo, "%a Exit, ImageCount = %d, LoadCount = %d \n", kName, imageCount,
               loadCount);
    if (imageCount == 0) {
        return EFI_NOT_FOUND;
    }
    return loadCount == 0 ? EFI_ACCESS_DENIED : EFI_SUCCESS;
}

} // namespace kelm
