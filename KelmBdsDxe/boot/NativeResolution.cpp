#include "boot/NativeResolution.h"

#include "library/firmware/Protocol.h"
#include "uefi/Edid.h"
#include "uefi/GraphicsOutput.h"
#include "uefi/SimpleTextOutput.h"

#include <optional>
#include <span>

namespace kelm {

namespace {

struct Size {
    UINT32 width;
    UINT32 height;
};
constexpr Size kSmallest = {1024, 768};

// Of the first block of VESA E-EDID.
constexpr UINTN kEdidSize = 128;
constexpr UINTN kEdidVersion = 18;
constexpr UINTN kEdidDetailedTiming = 54; // pixel clock in 10 kHz, two bytes
constexpr UINTN kEdidWidthLow = 56;
constexpr UINTN kEdidWidthHigh = 58; // in the upper half
constexpr UINTN kEdidHeightLow = 59;
constexpr UINTN kEdidHeightHigh = 61; // in the upper half

// The size of the first detailed timing. Nothing when the block is damaged or has no timing there.
std::optional<Size> NativeSize(std::span<const UINT8> edid) {
    if (edid.size() < kEdidSize || edid.data() == nullptr) {
        return {};
    }
    UINT8 sum = 0;
    for (const UINT8 byte : edid.first(kEdidSize)) {
        sum = UINT8(sum + byte);
    }
    const bool hasTiming = edid[kEdidDetailedTiming] != 0 || edid[kEdidDetailedTiming + 1] != 0;
    if (sum != 0 || edid[kEdidVersion] != 1 || !hasTiming) {
        return {};
    }
    return Size{edid[kEdidWidthLow] + (UINT32(edid[kEdidWidthHigh]) >> 4) * 256,
                edid[kEdidHeightLow] + (UINT32(edid[kEdidHeightHigh]) >> 4) * 256};
}

// The native size of the one display that tells it.
std::optional<Size> FindNativeSize() {
    HandleBuffer displays;
    static_cast<void>(displays.LocateByProtocol(gEfiEdidActiveProtocolGuid));
    std::optional<Size> found;
    for (EFI_HANDLE handle : displays.handles()) {
        auto* edid = ProtocolOnHandle<EFI_EDID_ACTIVE_PROTOCOL>(handle);
        if (edid == nullptr) {
            continue;
        }
        if (const auto size = NativeSize({edid->Edid, edid->SizeOfEdid})) {
            if (found) {
                return {};
            }
            found = size;
        }
    }
    return found;
}

// The only graphics output, or the only one of several that is no display of its own.
EFI_GRAPHICS_OUTPUT_PROTOCOL* ChooseGraphicsOutput() {
    HandleBuffer outputs;
    static_cast<void>(outputs.LocateByProtocol(gEfiGraphicsOutputProtocolGuid));
    if (outputs.handles().size() == 1) {
        return ProtocolOnHandle<EFI_GRAPHICS_OUTPUT_PROTOCOL>(outputs.handles()[0]);
    }
    EFI_HANDLE chosen = nullptr;
    for (EFI_HANDLE handle : outputs.handles()) {
        if (ProtocolOnHandle<EFI_EDID_ACTIVE_PROTOCOL>(handle) != nullptr) {
            continue;
        }
        if (chosen != nullptr) {
            return nullptr;
        }
        chosen = handle;
    }
    return chosen == nullptr ? nullptr : ProtocolOnHandle<EFI_GRAPHICS_OUTPUT_PROTOCOL>(chosen);
}

std::optional<UINT32> FindMode(EFI_GRAPHICS_OUTPUT_PROTOCOL& output, Size size) {
    for (UINT32 mode = 0; mode < output.Mode->MaxMode; mode++) {
        UINTN infoSize = 0;
        PoolPtr<EFI_GRAPHICS_OUTPUT_MODE_INFORMATION> info;
        if (!EFI_ERROR(output.QueryMode(&output, mode, &infoSize, info.out())) && info &&
            info->PixelFormat == PixelBlueGreenRedReserved8BitPerColor &&
            info->HorizontalResolution == size.width && info->VerticalResolution == size.height) {
            return mode;
        }
    }
    return {};
}

} // namespace

void BdsSetNativeResolution() {
    const std::optional<Size> size = FindNativeSize();
    if (!size || size->width < kSmallest.width || size->height < kSmallest.height ||
        (size->width == kSmallest.width && size->height == kSmallest.height)) {
        return;
    }
    EFI_GRAPHICS_OUTPUT_PROTOCOL* output = ChooseGraphicsOutput();
    if (output == nullptr || output->Mode == nullptr) {
        return;
    }
    if (const auto mode = FindMode(*output, *size)) {
        static_cast<void>(output->SetMode(output, *mode));
        if (gST->ConOut != nullptr) {
            static_cast<void>(gST->ConOut->ClearScreen(gST->ConOut));
        }
    }
}

} // namespace kelm
