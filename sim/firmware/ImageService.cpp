#include "sim/firmware/ImageService.h"

#include "library/pure/DevicePath.h"
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/Platform.h"
#include "sim/firmware/TraceText.h"
#include "sim/firmware/Violations.h"

#include <csetjmp>
#include <utility>

namespace sim {

namespace {

struct MemoryTypes {
    EFI_MEMORY_TYPE code;
    EFI_MEMORY_TYPE data;
};

MemoryTypes TypesFor(UINT16 subsystem) {
    switch (subsystem) {
    case kPeSubsystemEfiApplication:
        return {EfiLoaderCode, EfiLoaderData};
    case kPeSubsystemEfiRuntimeDriver:
        return {EfiRuntimeServicesCode, EfiRuntimeServicesData};
    default:
        return {EfiBootServicesCode, EfiBootServicesData};
    }
}

} // namespace

struct ImageService::Image {
    EFI_HANDLE handle = nullptr;
    EFI_IMAGE_ENTRY_POINT entry = nullptr;
    std::unique_ptr<PeImage> pe; // null for native code
    UINT16 subsystem = kPeSubsystemEfiBootServiceDriver;
    bool started = false;
    bool running = false;           // its entry has not returned
    EFI_STATUS trust = EFI_SUCCESS; // what StartImage() answers when it is an error
    std::string name;               // as traces and fault reports have it
    EFI_LOADED_IMAGE_PROTOCOL* info = nullptr;
    void* path = nullptr; // of the loaded image device path protocol; may be null
    std::jmp_buf leave;   // back into Start(), from Exit()
};

ImageService::ImageService(Platform& platform) : platform_(platform), security_(platform.machine) {}
ImageService::~ImageService() = default;

void ImageService::Install() {
    BootLocal<std::unique_ptr<Image>> image(std::make_unique<Image>());
    (*image)->name = "firmware";
    (*image)->started = true;
    static_cast<void>(Publish(image, &firmware_));
}

ImageService::Image* ImageService::Find(EFI_HANDLE handle) {
    auto found = images_.find(handle);
    return found != images_.end() ? found->second.get() : nullptr;
}

void ImageService::Trace(const char* operation, const Image& image, EFI_STATUS status) {
    platform_.trace.Record(
        "image", {{"op", operation}, {"path", image.name}, {"status", StatusText(status)}});
}

// Gives the image its handle and protocols; notifications of them may end the boot.
EFI_STATUS ImageService::Publish(BootLocal<std::unique_ptr<Image>>& local, EFI_HANDLE* handle) {
    std::unique_ptr<Image>& image = *local;
    if (image->info == nullptr) {
        image->info = platform_.memory->New<EFI_LOADED_IMAGE_PROTOCOL>();
    }
    if (image->info == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    EFI_LOADED_IMAGE_PROTOCOL& info = *image->info;
    info.Revision = EFI_LOADED_IMAGE_PROTOCOL_REVISION;
    info.SystemTable = platform_.SystemTable();
    const MemoryTypes types = TypesFor(image->subsystem);
    info.ImageCodeType = types.code;
    info.ImageDataType = types.data;
    if (image->pe != nullptr) {
        info.ImageBase = image->pe->Base();
        info.ImageSize = image->pe->Size();
    }
    Image& published = *image;
    const EFI_STATUS status =
        platform_.handles->Install(&published.handle, gEfiLoadedImageProtocolGuid, published.info);
    if (EFI_ERROR(status)) {
        return status;
    }
    *handle = published.handle;
    images_.emplace(published.handle, std::move(image));
    return platform_.handles->Install(&published.handle, gEfiLoadedImageDevicePathProtocolGuid,
                                      published.path);
}

void ImageService::Remove(EFI_HANDLE handle) {
    Image* image = Find(handle);
    void* memory[] = {image->path, image->info->FilePath, image->info};
    platform_.handles->CloseAllOf(handle);
    static_cast<void>(
        platform_.handles->Uninstall(handle, gEfiLoadedImageDevicePathProtocolGuid, image->path));
    static_cast<void>(
        platform_.handles->Uninstall(handle, gEfiLoadedImageProtocolGuid, image->info));
    images_.erase(handle);
    for (void* block : memory) {
        if (block != nullptr) {
            static_cast<void>(platform_.arena->FreePool(block));
        }
    }
}

EFI_STATUS ImageService::AddNative(EFI_IMAGE_ENTRY_POINT entry, const char* fileName,
                                   EFI_HANDLE* handle) {
    BootLocal<std::unique_ptr<Image>> image(std::make_unique<Image>());
    (*image)->entry = entry;
    (*image)->name = fileName;
    const EFI_STATUS status = Publish(image, handle);
    if (EFI_ERROR(status)) {
        return status;
    }
    Find(*handle)->info->ParentHandle = firmware_;
    Trace("load", *Find(*handle), EFI_SUCCESS);
    return EFI_SUCCESS;
}

EFI_STATUS ImageService::AddPe(std::span<const UINT8> bytes, const char* fileName,
                               EFI_HANDLE* handle) {
    return AddImage(bytes, firmware_, nullptr, nullptr, fileName, EFI_SUCCESS, handle);
}

// Maps the image and publishes it. `name` is copied. One that is not to be started need not have
// bytes. Returns `trust` when all went well.
EFI_STATUS ImageService::AddImage(std::span<const UINT8> bytes, EFI_HANDLE parent,
                                  EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE device,
                                  const std::string& name, EFI_STATUS trust, EFI_HANDLE* handle) {
    BootLocal<std::unique_ptr<Image>> local(std::make_unique<Image>());
    std::unique_ptr<Image>& image = *local;
    image->name = name;
    image->trust = trust;
    EFI_STATUS status = EFI_SUCCESS;
    if (!EFI_ERROR(trust) || !bytes.empty()) {
        status = PeStatus(PeImage::Load(bytes, region_, image->pe));
        if (EFI_ERROR(status)) {
            Trace("load", *image, status);
            return status;
        }
        image->entry = reinterpret_cast<EFI_IMAGE_ENTRY_POINT>(image->pe->EntryPoint());
        image->subsystem = image->pe->Header().subsystem;
    }
    image->info = platform_.memory->New<EFI_LOADED_IMAGE_PROTOCOL>();
    const std::size_t pathSize = kelm::DevicePathSize(path);
    if (image->info != nullptr && pathSize != 0) {
        // The file's place on its device: what the device's own path does not say.
        EFI_DEVICE_PATH_PROTOCOL* rest = path;
        EFI_HANDLE nearest = nullptr;
        if (device != nullptr &&
            platform_.handles->LocateDevicePath(gEfiDevicePathProtocolGuid, &rest, &nearest) ==
                EFI_SUCCESS &&
            nearest != device) {
            rest = path;
        }
        image->path = platform_.memory->Copy(path, pathSize, kOwnerFirmware);
        image->info->FilePath = static_cast<EFI_DEVICE_PATH_PROTOCOL*>(
            platform_.memory->Copy(rest, kelm::DevicePathSize(rest), kOwnerFirmware));
    }
    if (image->info != nullptr) {
        image->info->ParentHandle = parent;
        image->info->DeviceHandle = device;
    }
    platform_.RunsImages();
    status = Publish(local, handle);
    if (!EFI_ERROR(status)) {
        status = trust;
        Trace("load", *Find(*handle), status);
    }
    return status;
}

EFI_STATUS ImageService::Judge(const EFI_DEVICE_PATH_PROTOCOL* path) const {
    if (path == nullptr) {
        return EFI_SUCCESS;
    }
    const EFI_STATUS status = security_.Judge(path);
    return !EFI_ERROR(status) && policy_ ? policy_(path) : status;
}

EFI_STATUS ImageService::ReadFile(EFI_DEVICE_PATH_PROTOCOL* path, bool bootPolicy,
                                  std::vector<UINT8>& bytes, EFI_HANDLE* device) const {
    EFI_STATUS status = EFI_NOT_FOUND;
    for (std::size_t i = 0; i < fileSources_.size() && status == EFI_NOT_FOUND; i++) {
        status = fileSources_[i](path, bootPolicy, bytes, device);
    }
    return status;
}

EFI_STATUS ImageService::Load(bool bootPolicy, EFI_HANDLE parent, EFI_DEVICE_PATH_PROTOCOL* path,
                              const void* source, UINTN sourceSize, EFI_HANDLE* handle) {
    if (handle == nullptr || Find(parent) == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *handle = nullptr;
    if (source == nullptr && path == nullptr) {
        return EFI_NOT_FOUND;
    }
    const BootLocal<std::string> name(path != nullptr ? DevicePathText(path)
                                                      : std::string("memory"));
    const EFI_STATUS trust = Judge(path);
    const auto refuse = [&](EFI_STATUS status) {
        platform_.trace.Record("image",
                               {{"op", "load"}, {"path", *name}, {"status", StatusText(status)}});
        return status;
    };
    if (EFI_ERROR(trust) && trust != EFI_SECURITY_VIOLATION) {
        return refuse(trust);
    }
    if (source != nullptr) {
        EFI_DEVICE_PATH_PROTOCOL* rest = path;
        EFI_HANDLE device = nullptr;
        if (path != nullptr) {
            static_cast<void>(
                platform_.handles->LocateDevicePath(gEfiDevicePathProtocolGuid, &rest, &device));
        }
        return AddImage({static_cast<const UINT8*>(source), sourceSize}, parent, path, device,
                        *name, trust, handle);
    }
    // Files come from where the machine's devices are: whoever simulates them adds a source.
    BootLocal<std::vector<UINT8>> bytes;
    EFI_HANDLE device = nullptr;
    const EFI_STATUS status = ReadFile(path, bootPolicy, *bytes, &device);
    if (EFI_ERROR(status)) {
        return refuse(status);
    }
    return AddImage(*bytes, parent, path, device, *name, trust, handle);
}

// Runs the entry until it returns or leaves by Exit(). A frame of its own: what it holds must not
// change between setjmp and longjmp.
EFI_STATUS ImageService::RunEntry(Image& image) {
    if (setjmp(image.leave) != 0) {
        return exitStatus_;
    }
    return image.entry(image.handle, platform_.SystemTable());
}

EFI_STATUS ImageService::Start(EFI_HANDLE handle, UINTN* exitDataSize, CHAR16** exitData) {
    Image* image = Find(handle);
    if (image == nullptr || image->started) {
        return EFI_INVALID_PARAMETER;
    }
    if (EFI_ERROR(image->trust)) {
        Trace("start", *image, image->trust);
        return image->trust;
    }
    image->started = true;
    Trace("start", *image, EFI_SUCCESS);
    const EFI_HANDLE caller = running_;
    const EFI_TPL level = platform_.events->Tpl();
    running_ = handle;
    image->running = true;
    const EFI_STATUS status = RunEntry(*image);
    image->running = false;
    running_ = caller;
    // Those of this image only: the next one to leave may do so without any.
    CHAR16* const leftData = std::exchange(exitData_, nullptr);
    const UINTN leftDataSize = std::exchange(exitDataSize_, 0);
    Trace("return", *image, status);
    const EFI_TPL left = platform_.events->Tpl();
    if (left != level) {
        platform_.violations->Record(image->name + " returned with the task priority at " +
                                     std::to_string(left) + ", started at " +
                                     std::to_string(level));
        if (left > level) {
            platform_.events->RestoreTpl(level);
        } else {
            platform_.events->RaiseTpl(level);
        }
    }
    if (exitData != nullptr && exitDataSize != nullptr) {
        *exitData = leftData;
        *exitDataSize = leftDataSize;
    } else if (leftData != nullptr) {
        static_cast<void>(platform_.arena->FreePool(leftData));
    }
    // An application is gone when it is done, a driver only when it failed.
    if (image->subsystem == kPeSubsystemEfiApplication ||
        (EFI_ERROR(status) && image->pe != nullptr)) {
        Remove(handle);
    }
    return status;
}

EFI_STATUS ImageService::Exit(EFI_HANDLE handle, EFI_STATUS status, UINTN exitDataSize,
                              CHAR16* exitData) {
    Image* image = Find(handle);
    if (image == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (!image->started) {
        return Unload(handle);
    }
    if (handle != running_) {
        return EFI_INVALID_PARAMETER;
    }
    exitStatus_ = status;
    // Success has nothing to explain (UEFI 2.10, Exit()).
    const bool explains = exitData != nullptr && status != EFI_SUCCESS;
    exitDataSize_ = explains ? exitDataSize : 0;
    exitData_ = explains ? exitData : nullptr;
    std::longjmp(image->leave, 1);
}

EFI_STATUS ImageService::Unload(EFI_HANDLE handle) {
    Image* image = Find(handle);
    if (image == nullptr || handle == firmware_) {
        return EFI_INVALID_PARAMETER;
    }
    if (image->running) {
        // It would have nothing to return to.
        platform_.violations->Record("UnloadImage of " + image->name + ", which runs");
        return EFI_INVALID_PARAMETER;
    }
    if (image->started) {
        if (image->info->Unload == nullptr) {
            return EFI_UNSUPPORTED;
        }
        const EFI_STATUS status = image->info->Unload(handle);
        image = Find(handle);
        if (EFI_ERROR(status) || image == nullptr) {
            return status;
        }
    }
    Trace("unload", *image, EFI_SUCCESS);
    Remove(handle);
    return EFI_SUCCESS;
}

const char* ImageService::RunningPe() const {
    auto found = images_.find(running_);
    return found != images_.end() && found->second->pe != nullptr ? found->second->name.c_str()
                                                                  : nullptr;
}

bool ImageService::RunsApplication() const {
    auto found = images_.find(running_);
    return found != images_.end() && found->second->pe != nullptr &&
           found->second->subsystem == kPeSubsystemEfiApplication;
}

std::string ImageService::Locate(UINT64 address) const {
    for (const auto& [handle, image] : images_) {
        if (image->pe != nullptr && image->pe->Contains(reinterpret_cast<const void*>(address))) {
            return image->name + "+" +
                   HexNumber(address - reinterpret_cast<UINT64>(image->pe->Base()));
        }
    }
    return {};
}

} // namespace sim
