// Images that the firmware has put off loading until the platform says which may be trusted
// (UEFI 2.10, section 36.3): one protocol that lists "deferredImages" of the machine file in their
// order. A machine without any has no such protocol.
//
// The image service finds "content" under the path of an entry, and exactly that path; "loadStatus"
// is what it answers to loading it, wherever the bytes come from.
#pragma once

#include "sim/siblings/ProtocolTable.h"
#include "uefi/DeferredImageLoad.h"

#include <string>
#include <vector>

namespace sim {

class DeferredImages final : public Sibling {
public:
    // Reads "deferredImages"; throws MachineFileError.
    explicit DeferredImages(Platform& owner);
    void Install() override;

private:
    struct Image {
        std::vector<std::uint8_t> path;
        bool bootOption = false;
        bool hasContent = false;
        std::vector<std::uint8_t> content;
        EFI_STATUS loadStatus = EFI_SUCCESS;
    };

    const Image* Find(const EFI_DEVICE_PATH_PROTOCOL* path) const;
    EFI_STATUS GetImageInfo(UINTN index, EFI_DEVICE_PATH_PROTOCOL** path, void** image, UINTN* size,
                            BOOLEAN* bootOption);

    std::vector<Image> images_;
    ProtocolTable<EFI_DEFERRED_IMAGE_LOAD_PROTOCOL, "DeferredImageLoad"> protocol_;
};

} // namespace sim
