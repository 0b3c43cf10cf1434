#include "sim/devices/VideoOutput.h"

#include "sim/devices/Devices.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>

namespace sim {

namespace {

constexpr const char* kCallName = "GraphicsOutput";
constexpr std::size_t kMaxEdidSize = 256 * kEdidBlockSize;

EFI_GRAPHICS_OUTPUT_MODE_INFORMATION Mode(std::size_t width, std::size_t height) {
    EFI_GRAPHICS_OUTPUT_MODE_INFORMATION mode{};
    mode.HorizontalResolution = UINT32(width);
    mode.VerticalResolution = UINT32(height);
    mode.PixelFormat = PixelBlueGreenRedReserved8BitPerColor;
    mode.PixelsPerScanLine = UINT32(width);
    return mode;
}

std::vector<EFI_GRAPHICS_OUTPUT_MODE_INFORMATION> ReadModes(const MachineDescription& machine,
                                                            const std::string& place) {
    const Json& sizes = machine.At(place);
    if (sizes.is_null()) {
        return {Mode(640, 480), Mode(800, 600), Mode(1024, 768)};
    }
    std::vector<EFI_GRAPHICS_OUTPUT_MODE_INFORMATION> modes;
    for (std::size_t i = 0; i < sizes.size(); i++) {
        const std::string at = place + "/" + std::to_string(i);
        modes.push_back(Mode(ReadNumber(machine, sizes[i][0], at + "/0"),
                             ReadNumber(machine, sizes[i][1], at + "/1")));
    }
    return modes;
}

} // namespace

std::vector<std::uint8_t> DefaultEdid() {
    std::vector<std::uint8_t> edid = {
        0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, // the mark of the format
        0x2D, 0x8D, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, // "KLM", product 1, no serial number
        0x01, 0x1E, 0x01, 0x03,                         // week 1 of 2020, EDID 1.3
        0x80, 0x22, 0x1A, 0x78, 0x0A,                   // digital, 34 x 26 cm, gamma 2.2, RGB
        0xEE, 0x91, 0xA3, 0x54, 0x4C, 0x99, 0x26, 0x0F, 0x50, 0x54, // colours of sRGB
        0x21, 0x08, 0x00,                               // 640x480, 800x600, 1024x768 at 60 Hz
        0x61, 0x40, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, // 1024x768 at 60 Hz
        0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01,
        // The preferred timing: 1024x768 at 65 MHz, syncs -/-.
        0x64, 0x19, 0x00, 0x40, 0x41, 0x00, 0x26, 0x30, 0x18, 0x88, 0x36, 0x00, 0x54, 0xFF, 0x10,
        0x00, 0x00, 0x18,
        // Its name.
        0x00, 0x00, 0x00, 0xFC, 0x00, 'K', 'e', 'l', 'm', ' ', 'C', 'o', 'n', 's', 'o', 'l', 'e',
        '\n',
        // 56 to 75 Hz, 30 to 63 kHz, up to 80 MHz.
        0x00, 0x00, 0x00, 0xFD, 0x00, 0x38, 0x4B, 0x1E, 0x3F, 0x08, 0x00, '\n', ' ', ' ', ' ', ' ',
        ' ', ' ',
        // Nothing more, and no extension.
        0x00, 0x00, 0x00, 0x10, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00};
    std::uint8_t sum = 0;
    for (const std::uint8_t byte : edid) {
        sum = std::uint8_t(sum + byte);
    }
    edid.push_back(std::uint8_t(-sum)); // all bytes together give 0
    return edid;
}

VideoOutput::VideoOutput(Device& owner) : device_(owner) {
    const MachineDescription& machine = owner.devices.platform.machine;
    const std::string place = owner.place.empty() ? std::string() : owner.place + "/video";
    const bool described = !place.empty();
    modes_ = ReadModes(machine, described ? place + "/modes" : "/none");
    const bool hasEdid = described && !machine.At(place + "/edid").is_null();
    edid_ = hasEdid ? HexAt(machine, place + "/edid", kMaxEdidSize) : DefaultEdid();

    table_.owner = this;
    table_.protocol = {&QueryMode, &SetMode, &Blt, &record_};
    record_.MaxMode = UINT32(modes_.size());
    record_.SizeOfInfo = sizeof(EFI_GRAPHICS_OUTPUT_MODE_INFORMATION);
    record_.Info = modes_.data();
    discovered_ = {UINT32(edid_.size()), edid_.empty() ? nullptr : edid_.data()};
    active_ = {discovered_.SizeOfEdid, discovered_.Edid};
}

void VideoOutput::Publish() {
    std::size_t pixels = 0;
    for (const auto& mode : modes_) {
        pixels = std::max(pixels, std::size_t(mode.HorizontalResolution) * mode.VerticalResolution);
    }
    frame_.resize(pixels);
    UseMode(0);
    device_.Publish(gEfiEdidDiscoveredProtocolGuid, &discovered_);
    device_.Publish(gEfiEdidActiveProtocolGuid, &active_);
    device_.Publish(gEfiGraphicsOutputProtocolGuid, &table_.protocol);
}

const VideoOutput::Pixel& VideoOutput::At(std::size_t x, std::size_t y) const {
    return frame_[y * record_.Info->HorizontalResolution + x];
}

VideoOutput::Pixel* VideoOutput::Row(std::size_t x, std::size_t y) {
    return frame_.data() + y * record_.Info->HorizontalResolution + x;
}

void VideoOutput::UseMode(std::size_t mode) {
    record_.Mode = UINT32(mode);
    record_.Info = &modes_[mode];
    const std::size_t pixels =
        std::size_t(record_.Info->HorizontalResolution) * record_.Info->VerticalResolution;
    record_.FrameBufferBase = reinterpret_cast<EFI_PHYSICAL_ADDRESS>(frame_.data());
    record_.FrameBufferSize = pixels * sizeof(Pixel);
    std::fill_n(frame_.begin(), pixels, Pixel{});
}

EFI_STATUS EFIAPI VideoOutput::QueryMode(EFI_GRAPHICS_OUTPUT_PROTOCOL* self, UINT32 mode,
                                         UINTN* size, EFI_GRAPHICS_OUTPUT_MODE_INFORMATION** info) {
    VideoOutput& video = Table::From(self);
    if (auto fault = video.device_.Enter(kCallName, "QueryMode", self)) {
        return *fault;
    }
    if (mode >= video.modes_.size() || size == nullptr || info == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    void* copy = video.device_.devices.platform.CopyToPool(&video.modes_[mode],
                                                           sizeof video.modes_[mode], kCallName);
    if (copy == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    *size = sizeof video.modes_[mode];
    *info = static_cast<EFI_GRAPHICS_OUTPUT_MODE_INFORMATION*>(copy);
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI VideoOutput::SetMode(EFI_GRAPHICS_OUTPUT_PROTOCOL* self, UINT32 mode) {
    VideoOutput& video = Table::From(self);
    if (auto fault = video.device_.Enter(kCallName, "SetMode", self)) {
        return *fault;
    }
    if (mode >= video.modes_.size()) {
        return EFI_UNSUPPORTED;
    }
    video.UseMode(mode);
    return EFI_SUCCESS;
}

struct VideoOutput::Blit {
    Pixel* buffer;
    EFI_GRAPHICS_OUTPUT_BLT_OPERATION operation;
    std::size_t sourceX, sourceY, destinationX, destinationY, width, height;
    std::size_t delta; // bytes of a row of the buffer

    Pixel* BufferAt(std::size_t x, std::size_t y) const {
        return reinterpret_cast<Pixel*>(reinterpret_cast<UINT8*>(buffer) + y * delta) + x;
    }
};

EFI_STATUS EFIAPI VideoOutput::Blt(EFI_GRAPHICS_OUTPUT_PROTOCOL* self, Pixel* buffer,
                                   EFI_GRAPHICS_OUTPUT_BLT_OPERATION operation, UINTN sourceX,
                                   UINTN sourceY, UINTN destinationX, UINTN destinationY,
                                   UINTN width, UINTN height, UINTN delta) {
    VideoOutput& video = Table::From(self);
    if (auto fault = video.device_.Enter(kCallName, "Blt", self)) {
        return *fault;
    }
    return video.Transfer({buffer, operation, sourceX, sourceY, destinationX, destinationY, width,
                           height, delta != 0 ? delta : width * sizeof(Pixel)});
}

EFI_STATUS VideoOutput::Transfer(const Blit& blit) {
    const std::size_t screenWidth = record_.Info->HorizontalResolution;
    const std::size_t screenHeight = record_.Info->VerticalResolution;
    const auto fits = [&](std::size_t x, std::size_t y) {
        return x < screenWidth && y < screenHeight && blit.width <= screenWidth - x &&
               blit.height <= screenHeight - y;
    };
    const auto operation = blit.operation;
    if (operation >= EfiGraphicsOutputBltOperationMax || blit.width == 0 || blit.height == 0) {
        return EFI_INVALID_PARAMETER;
    }
    const bool reads = operation == EfiBltVideoToBltBuffer || operation == EfiBltVideoToVideo;
    if ((operation != EfiBltVideoToVideo && blit.buffer == nullptr) ||
        (reads && !fits(blit.sourceX, blit.sourceY)) ||
        (operation != EfiBltVideoToBltBuffer && !fits(blit.destinationX, blit.destinationY))) {
        return EFI_INVALID_PARAMETER;
    }
    for (std::size_t i = 0; i < blit.height; i++) {
        // Rows of the screen that overlap are moved from the side that is not yet overwritten.
        const std::size_t y = operation == EfiBltVideoToVideo && blit.sourceY < blit.destinationY
                                  ? blit.height - 1 - i
                                  : i;
        switch (operation) {
        case EfiBltVideoFill:
            std::fill_n(Row(blit.destinationX, blit.destinationY + y), blit.width, *blit.buffer);
            break;
        case EfiBltVideoToBltBuffer:
            std::copy_n(Row(blit.sourceX, blit.sourceY + y), blit.width,
                        blit.BufferAt(blit.destinationX, blit.destinationY + y));
            break;
        case EfiBltBufferToVideo:
            std::copy_n(blit.BufferAt(blit.sourceX, blit.sourceY + y), blit.width,
                        Row(blit.destinationX, blit.destinationY + y));
            break;
        default: {
            const Pixel* from = Row(blit.sourceX, blit.sourceY + y);
            Pixel* to = Row(blit.destinationX, blit.destinationY + y);
            if (blit.sourceX < blit.destinationX) {
                std::copy_backward(from, from + blit.width, to + blit.width);
            } else {
                std::copy(from, from + blit.width, to);
            }
            break;
        }
        }
    }
    return EFI_SUCCESS;
}

} // namespace sim
