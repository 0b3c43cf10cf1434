#include "core/FontVolume.h"

#include "core/DriverState.h"
#include "kelm/SpiFlashProtocol.h"
#include "library/firmware/Protocol.h"

namespace kelm {

namespace {

constexpr UINT64 kPageSize = 4096;

EFI_STATUS ProcessVolume(const void* volume, UINT64 size) {
    if (gDS == nullptr) {
        return EFI_UNSUPPORTED;
    }
    EFI_HANDLE handle = nullptr;
    const EFI_STATUS status = gDS->ProcessFirmwareVolume(volume, size, &handle);
    if (!EFI_ERROR(status)) {
        gDriver.core.fontFvHandle = handle;
    }
    return status;
}

EFI_STATUS ProcessCopy(const FlashVolume& volume) {
    DebugPrint(kDebugInfo, "LoadFontFv, Entry\n");
    KelmSpiFlashProtocol* flash = nullptr;
    if (EFI_ERROR(LocateService(flash))) {
        return EFI_NOT_FOUND;
    }
    DebugPrint(kDebugInfo, "LoadFontFv, Got Kelm Spi Protocol\n");
    Pages pages((volume.size + kPageSize - 1) / kPageSize);
    if (pages.IsNull()) {
        return EFI_OUT_OF_RESOURCES;
    }
    DebugPrint(kDebugInfo, "LoadFontFv, FontFv at 0x%p\n", pages.get());
    const EFI_STATUS status = flash->Read(flash, volume.address, volume.size, pages.get());
    if (EFI_ERROR(status)) {
        return status;
    }
    const EFI_STATUS processed = ProcessVolume(pages.get(), volume.size);
    if (!EFI_ERROR(processed)) {
        static_cast<void>(pages.release()); // the dispatcher refers to the copy from here on
    }
    return processed;
}

} // namespace

EFI_STATUS BdsLoadFontFv(const FlashVolume& volume) {
    if (volume.size == 0) {
        DebugPrint(kDebugInfo,
                   "LoadFontFv, This platform does not need to load FONT_FV manually.\n");
        return EFI_SUCCESS;
    }
    if (gDriver.core.fontFvHandle != nullptr) {
        return EFI_ALREADY_STARTED;
    }
    if (!IsFlashMemoryMapped(volume.address)) {
        return ProcessCopy(volume);
    }
    const void* mapped = reinterpret_cast<const void*>(volume.address);
    DebugPrint(kDebugInfo, "LoadFontFv, MMIO FontFv at 0x%p\n", mapped);
    return ProcessVolume(mapped, volume.size);
}

} // namespace kelm
