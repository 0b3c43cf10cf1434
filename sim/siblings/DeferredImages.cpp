#include "sim/siblings/DeferredImages.h"

#include "library/pure/DevicePath.h"
#include "sim/devices/FileTree.h"
#include "sim/firmware/ImageService.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>

namespace sim {

DeferredImages::DeferredImages(Platform& owner) : Sibling(owner) {
    const auto& machine = platform.machine;
    const std::size_t count = machine.At("/deferredImages").size();
    for (std::size_t i = 0; i < count; i++) {
        const std::string place = "/deferredImages/" + std::to_string(i);
        Image image;
        image.path = ReadDevicePath(machine, machine.At(place + "/path"), place + "/path");
        image.bootOption = FlagAt(machine, place + "/bootOption", false);
        image.hasContent = !machine.At(place + "/content").is_null();
        if (image.hasContent) {
            image.content = ReadFileContent(machine, place + "/content");
        }
        image.loadStatus = StatusAt(machine, place + "/loadStatus", EFI_SUCCESS);
        images_.push_back(std::move(image));
    }
}

void DeferredImages::Install() {
    if (images_.empty()) {
        return;
    }
    platform.images->AddFileSource(
        [this](EFI_DEVICE_PATH_PROTOCOL* path, bool, std::vector<UINT8>& bytes, EFI_HANDLE*) {
            const Image* image = Find(path);
            if (image == nullptr || (!image->hasContent && !EFI_ERROR(image->loadStatus))) {
                return EFI_NOT_FOUND;
            }
            bytes = image->content;
            return EFI_SUCCESS;
        });
    platform.images->SetPolicy([this](const EFI_DEVICE_PATH_PROTOCOL* path) {
        const Image* image = Find(path);
        return image != nullptr ? image->loadStatus : EFI_SUCCESS;
    });
    using P = EFI_DEFERRED_IMAGE_LOAD_PROTOCOL;
    protocol_.Serve<"GetImageInfo", &DeferredImages::GetImageInfo>(&P::GetImageInfo).ReserveRest();
    InstallTable(protocol_);
}

const DeferredImages::Image* DeferredImages::Find(const EFI_DEVICE_PATH_PROTOCOL* path) const {
    const auto found = std::find_if(images_.begin(), images_.end(), [&](const Image& image) {
        return kelm::DevicePathsEqual(
            path, reinterpret_cast<const EFI_DEVICE_PATH_PROTOCOL*>(image.path.data()));
    });
    return found != images_.end() ? &*found : nullptr;
}

EFI_STATUS DeferredImages::GetImageInfo(UINTN index, EFI_DEVICE_PATH_PROTOCOL** path, void** image,
                                        UINTN* size, BOOLEAN* bootOption) {
    if (path == nullptr || image == nullptr || size == nullptr || bootOption == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (index >= images_.size()) {
        return EFI_NOT_FOUND;
    }
    Image& entry = images_[index];
    *path = reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(entry.path.data());
    *image = entry.content.empty() ? nullptr : entry.content.data();
    *size = entry.content.size();
    *bootOption = entry.bootOption ? TRUE : FALSE;
    return EFI_SUCCESS;
}

} // namespace sim
