// Images (UEFI 2.10, section 7.4): loading, starting, leaving and unloading them, with the loaded
// image protocol on each image's handle.
//
// An image comes from the caller's buffer, or from the device path when a source of files knows it
// (AddFileSource). Start, Exit and Unload call the image and may end the boot.
#pragma once

#include "sim/firmware/BootLocal.h"
#include "sim/firmware/ImagePolicy.h"
#include "sim/firmware/PeImage.h"
#include "uefi/BootServices.h"
#include "uefi/DevicePath.h"
#include "uefi/LoadedImage.h"

#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace sim {

class Platform;

class ImageService {
public:
    // Reads "security". Throws MachineFileError.
    explicit ImageService(Platform& platform);
    ~ImageService();
    ImageService(const ImageService&) = delete;
    ImageService& operator=(const ImageService&) = delete;

    // Installs the handle of the firmware itself, the agent of HandleProtocol() and the parent of
    // the driver.
    void Install();
    EFI_HANDLE FirmwareHandle() const { return firmware_; }

    // Reads the file that a device path names into `bytes` and tells the device that it lies on.
    // EFI_NOT_FOUND: it is none of this source's, the next one is asked; any other error is
    // LoadImage()'s answer.
    using FileSource = std::function<EFI_STATUS(EFI_DEVICE_PATH_PROTOCOL* path, bool bootPolicy,
                                                std::vector<UINT8>& bytes, EFI_HANDLE* device)>;
    void AddFileSource(FileSource source) { fileSources_.push_back(std::move(source)); }
    // What the platform thinks of an image by its path, wherever its bytes come from, besides what
    // the machine file's "security" says. EFI_SECURITY_VIOLATION: it is loaded, but StartImage()
    // refuses it with the same status; any other error: it is not loaded. Either is LoadImage()'s
    // answer.
    using Policy = std::function<EFI_STATUS(const EFI_DEVICE_PATH_PROTOCOL* path)>;
    void SetPolicy(Policy policy) { policy_ = std::move(policy); }

    // The driver, linked into this program or as an image. `fileName` stands in traces.
    // EFI_OUT_OF_RESOURCES, or the status of the PE result when the image is bad.
    EFI_STATUS AddNative(EFI_IMAGE_ENTRY_POINT entry, const char* fileName, EFI_HANDLE* image);
    EFI_STATUS AddPe(std::span<const UINT8> bytes, const char* fileName, EFI_HANDLE* image);

    // LoadImage(), StartImage(), Exit() and UnloadImage().
    EFI_STATUS Load(bool bootPolicy, EFI_HANDLE parent, EFI_DEVICE_PATH_PROTOCOL* path,
                    const void* source, UINTN sourceSize, EFI_HANDLE* image);
    EFI_STATUS Start(EFI_HANDLE image, UINTN* exitDataSize, CHAR16** exitData);
    EFI_STATUS Exit(EFI_HANDLE image, EFI_STATUS status, UINTN exitDataSize, CHAR16* exitData);
    EFI_STATUS Unload(EFI_HANDLE image);

    // The image that runs now, nullptr before the driver.
    EFI_HANDLE Running() const { return running_; }
    // Its name when it is a PE image; nullptr otherwise.
    const char* RunningPe() const;
    // Whether it is an application, which may do anything wrong.
    bool RunsApplication() const;
    // The name of the image that an address lies in, with the offset ("KelmBdsDxe+0x1234"); empty
    // when in none.
    std::string Locate(UINT64 address) const;
    std::size_t Count() const { return images_.size(); }

private:
    struct Image;
    Image* Find(EFI_HANDLE handle);
    EFI_STATUS Judge(const EFI_DEVICE_PATH_PROTOCOL* path) const;
    EFI_STATUS ReadFile(EFI_DEVICE_PATH_PROTOCOL* path, bool bootPolicy, std::vector<UINT8>& bytes,
                        EFI_HANDLE* device) const;
    EFI_STATUS AddImage(std::span<const UINT8> bytes, EFI_HANDLE parent,
                        EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE device, const std::string& name,
                        EFI_STATUS trust, EFI_HANDLE* handle);
    EFI_STATUS Publish(BootLocal<std::unique_ptr<Image>>& local, EFI_HANDLE* handle);
    EFI_STATUS RunEntry(Image& image);
    void Remove(EFI_HANDLE handle);
    void Trace(const char* operation, const Image& image, EFI_STATUS status);

    Platform& platform_;
    PeImageRegion region_;
    std::vector<FileSource> fileSources_;
    ImagePolicy security_;
    Policy policy_;
    EFI_HANDLE firmware_ = nullptr;
    EFI_HANDLE running_ = nullptr;
    std::map<EFI_HANDLE, std::unique_ptr<Image>> images_;
    // What the image that left last handed to Exit().
    EFI_STATUS exitStatus_ = EFI_SUCCESS;
    UINTN exitDataSize_ = 0;
    CHAR16* exitData_ = nullptr;
};

} // namespace sim
