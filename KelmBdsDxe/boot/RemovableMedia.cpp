#include "boot/RemovableMedia.h"

#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "platform/RamDisk.h"
#include "uefi/BlockIo.h"
#include "uefi/PeImage.h"
#include "uefi/SimpleFileSystem.h"

#include <cstddef>
#include <cstring>
#include <optional>
#include <span>

namespace kelm {

namespace {

constexpr CHAR16 kFallbackFile[] = u"\\EFI\\BOOT\\BOOTX64.EFI";

// The deepest handle with the protocol on the way of a path, and the rest of the path behind it.
struct Found {
    EFI_HANDLE handle;
    const EFI_DEVICE_PATH_PROTOCOL* rest;
};
std::optional<Found> LocateAlong(const EFI_DEVICE_PATH_PROTOCOL* path, const EFI_GUID& protocol) {
    auto* rest = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path);
    EFI_HANDLE handle = nullptr;
    if (EFI_ERROR(gBS->LocateDevicePath(&protocol, &rest, &handle))) {
        return {};
    }
    return Found{handle, rest};
}

void ConnectRecursively(EFI_HANDLE handle) {
    static_cast<void>(gBS->ConnectController(handle, nullptr, nullptr, TRUE));
}

// A read makes a driver of removable media look whether its medium was changed.
void ReadFirstBlock(EFI_HANDLE handle) {
    auto* blockIo = ProtocolOnHandle<EFI_BLOCK_IO_PROTOCOL>(handle);
    if (blockIo == nullptr) {
        return;
    }
    const UINT32 size = blockIo->Media->BlockSize;
    const PoolPtr<UINT8> block = AllocatePool<UINT8>(size);
    if (block) {
        static_cast<void>(
            blockIo->ReadBlocks(blockIo, blockIo->Media->MediaId, 0, size, block.get()));
    }
}

void BringUpDevice(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (const auto block = LocateAlong(path, gEfiBlockIoProtocolGuid)) {
        ConnectRecursively(block->handle);
        ReadFirstBlock(block->handle);
        return;
    }
    if (LocateAlong(path, gEfiSimpleFileSystemProtocolGuid)) {
        return;
    }
    if (const auto device = LocateAlong(path, gEfiDevicePathProtocolGuid)) {
        ConnectRecursively(device->handle);
    }
}

// The nodes with which the path of a file system has to begin. What lies behind a USB device that
// is not there may be plugged elsewhere: then the hub it hung from is enough.
std::span<const UINT8> PrefixOf(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const auto whole = DevicePathBytes(path);
    const auto nodes = whole.first(whole.size() - kNodeHeaderSize);
    const auto device = LocateAlong(path, gEfiDevicePathProtocolGuid);
    if (device && IsNode(device->rest, kDevicePathTypeMessaging, kMessagingSubTypeUsb)) {
        return nodes.first(size_t(reinterpret_cast<const UINT8*>(device->rest) - nodes.data()));
    }
    return nodes;
}

// A file that is closed with its owner.
class OpenFile {
public:
    OpenFile() = default;
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() {
        if (file_ != nullptr) {
            static_cast<void>(file_->Close(file_));
        }
    }
    EFI_FILE_PROTOCOL* operator->() const { return file_; }
    EFI_FILE_PROTOCOL* get() const { return file_; }
    EFI_FILE_PROTOCOL** out() { return &file_; }

private:
    EFI_FILE_PROTOCOL* file_ = nullptr;
};

template <class Record>
bool ReadRecord(const OpenFile& file, UINT64 position, Record& record) {
    UINTN size = sizeof(record);
    return !EFI_ERROR(file->SetPosition(file.get(), position)) &&
           !EFI_ERROR(file->Read(file.get(), &size, &record)) && size == sizeof(record);
}

// The part of the PE headers that is laid out the same for 32 and 64 bits.
struct [[gnu::packed]] CommonHeaders {
    UINT32 Signature;
    EFI_IMAGE_FILE_HEADER FileHeader;
    UINT8 OptionalHeader[offsetof(EFI_IMAGE_OPTIONAL_HEADER64, Subsystem)];
    UINT16 Subsystem;
};

// The headers of a file system's fallback file; nothing when it has no such file, or one that is no
// PE image.
std::optional<CommonHeaders> ReadFallbackHeaders(EFI_HANDLE handle) {
    auto* fileSystem = ProtocolOnHandle<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL>(handle);
    OpenFile root;
    OpenFile file;
    if (fileSystem == nullptr || EFI_ERROR(fileSystem->OpenVolume(fileSystem, root.out())) ||
        EFI_ERROR(root->Open(root.get(), file.out(), const_cast<CHAR16*>(kFallbackFile),
                             EFI_FILE_MODE_READ, 0))) {
        return {};
    }
    EFI_IMAGE_DOS_HEADER dos;
    if (!ReadRecord(file, 0, dos)) {
        return {};
    }
    // An image without a DOS header begins with its PE signature.
    const UINT64 position = dos.e_magic == EFI_IMAGE_DOS_SIGNATURE ? dos.e_lfanew : 0;
    CommonHeaders headers;
    if (!ReadRecord(file, position, headers) || headers.Signature != EFI_IMAGE_NT_SIGNATURE) {
        return {};
    }
    return headers;
}

// An application for this processor.
bool IsBootable(const CommonHeaders& headers) {
    return headers.FileHeader.Machine == IMAGE_FILE_MACHINE_X64 &&
           headers.Subsystem == EFI_IMAGE_SUBSYSTEM_EFI_APPLICATION;
}

// How a file system's handle belongs to a boot path.
struct Kinship {
    bool related;
    bool httpRamDisk; // a RAM disk that was filled from the path's URI
};
Kinship KinshipOf(const EFI_DEVICE_PATH_PROTOCOL* device, const EFI_DEVICE_PATH_PROTOCOL* bootPath,
                  std::span<const UINT8> prefix) {
    const auto bytes = DevicePathBytes(device);
    if (bytes.empty() || bytes.size() - kNodeHeaderSize < prefix.size()) {
        return {};
    }
    const bool begins = std::memcmp(bytes.data(), prefix.data(), prefix.size()) == 0;
    const bool httpRamDisk =
        FindNode(device, kDevicePathTypeMedia, kMediaSubTypeRamDisk) != nullptr &&
        FindNode(bootPath, kDevicePathTypeMessaging, kMessagingSubTypeUri) != nullptr;
    return {begins || httpRamDisk, httpRamDisk};
}

void ReleaseRamDisk(const EFI_DEVICE_PATH_PROTOCOL* device) {
    const EFI_STATUS status = BdsCleanRamDisk(const_cast<EFI_DEVICE_PATH_PROTOCOL*>(device));
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugBdsInfo,
                   "Failed cleaning memory ACPI NFIT and SSDT tables of Ramdisk - %r\n", status);
    }
}

} // namespace

EFI_HANDLE BdsFindRemovableMediaFileSystem(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (DevicePathSize(path) == 0) {
        return nullptr;
    }
    BringUpDevice(path);
    const std::span<const UINT8> prefix = PrefixOf(path);
    HandleBuffer fileSystems;
    static_cast<void>(fileSystems.LocateByProtocol(gEfiSimpleFileSystemProtocolGuid));
    for (EFI_HANDLE handle : fileSystems.handles()) {
        const auto* device = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
        const Kinship kinship = KinshipOf(device, path, prefix);
        if (!kinship.related) {
            continue;
        }
        const std::optional<CommonHeaders> headers = ReadFallbackHeaders(handle);
        if (headers && IsBootable(*headers)) {
            return handle;
        }
        if (!headers && kinship.httpRamDisk) {
            ReleaseRamDisk(device);
        }
    }
    return nullptr;
}

bool BdsHasBootableFallbackFile(EFI_HANDLE fileSystem) {
    const std::optional<CommonHeaders> headers = ReadFallbackHeaders(fileSystem);
    return headers && IsBootable(*headers);
}

EFI_STATUS BdsLoadBootImage(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE* image) {
    *image = nullptr;
    const EFI_STATUS status = gBS->LoadImage(
        TRUE, gImageHandle, const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path), nullptr, 0, image);
    if (status == EFI_SECURITY_VIOLATION) {
        if (*image != nullptr) {
            static_cast<void>(gBS->UnloadImage(*image));
        }
        DebugPrint(kDebugBdsLoad, "LoadImage %r and UnloadImage to aviod resource leak.\n", status);
    }
    if (EFI_ERROR(status)) {
        *image = nullptr;
    }
    return status;
}

EFI_STATUS BdsLoadRemovableMediaImage(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE* image,
                                      EFI_STATUS ifNone, void (*beforeLoad)()) {
    *image = nullptr;
    EFI_HANDLE fileSystem = BdsFindRemovableMediaFileSystem(path);
    if (fileSystem == nullptr) {
        return ifNone;
    }
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> file =
        FileDevicePath(ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(fileSystem), kFallbackFile);
    if (!file) {
        return EFI_OUT_OF_RESOURCES;
    }
    if (beforeLoad != nullptr) {
        beforeLoad();
    }
    return BdsLoadBootImage(file.get(), image);
}

EFI_STATUS BdsCheckRemovableMedia(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE* image) {
    if (path == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    EFI_HANDLE loaded = nullptr;
    EFI_STATUS status = BdsLoadBootImage(path, &loaded);
    if (EFI_ERROR(status)) {
        status = BdsLoadRemovableMediaImage(path, &loaded, status);
    }
    if (image != nullptr) {
        *image = loaded;
    } else if (loaded != nullptr) {
        static_cast<void>(gBS->UnloadImage(loaded));
    }
    return status;
}

} // namespace kelm
