// One output of a video controller: the graphics output protocol and the two EDID protocols
// (UEFI 2.10, section 12.9), over a frame buffer in the memory of the simulator.
//
// "video" of the machine file says which modes there are and what the display tells of itself.
#pragma once

#include "sim/devices/Device.h"
#include "sim/siblings/Sibling.h"
#include "uefi/Edid.h"
#include "uefi/GraphicsOutput.h"

#include <vector>

namespace sim {

class VideoOutput final : public DeviceObject {
public:
    using Pixel = EFI_GRAPHICS_OUTPUT_BLT_PIXEL;

    // Reads "video" at the place of the device's section. Throws MachineFileError.
    explicit VideoOutput(Device& owner);

    // Publishes the protocols on the device's handle; the output is in mode 0, and black.
    void Publish();

    // The pixel at a place of the current mode.
    const Pixel& At(std::size_t x, std::size_t y) const;

private:
    using Table = Interface<EFI_GRAPHICS_OUTPUT_PROTOCOL, VideoOutput>;
    struct Blit; // one block transfer

    void UseMode(std::size_t mode);
    Pixel* Row(std::size_t x, std::size_t y);
    EFI_STATUS Transfer(const Blit& blit);

    static EFI_STATUS EFIAPI QueryMode(EFI_GRAPHICS_OUTPUT_PROTOCOL* self, UINT32 mode, UINTN* size,
                                       EFI_GRAPHICS_OUTPUT_MODE_INFORMATION** info);
    static EFI_STATUS EFIAPI SetMode(EFI_GRAPHICS_OUTPUT_PROTOCOL* self, UINT32 mode);
    static EFI_STATUS EFIAPI Blt(EFI_GRAPHICS_OUTPUT_PROTOCOL* self, Pixel* buffer,
                                 EFI_GRAPHICS_OUTPUT_BLT_OPERATION operation, UINTN sourceX,
                                 UINTN sourceY, UINTN destinationX, UINTN destinationY, UINTN width,
                                 UINTN height, UINTN delta);

    Device& device_;
    std::vector<EFI_GRAPHICS_OUTPUT_MODE_INFORMATION> modes_;
    std::vector<std::uint8_t> edid_;
    std::vector<Pixel> frame_; // of the largest mode, from the first start on
    EFI_GRAPHICS_OUTPUT_PROTOCOL_MODE record_{};
    Table table_;
    EFI_EDID_DISCOVERED_PROTOCOL discovered_{};
    EFI_EDID_ACTIVE_PROTOCOL active_{};
};

// What a display says when the machine file gives no EDID: 1024x768 at 60 Hz.
std::vector<std::uint8_t> DefaultEdid();

} // namespace sim
