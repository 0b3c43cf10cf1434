#include "sim/devices/ImageFiles.h"

#include "library/pure/DevicePath.h"
#include "sim/firmware/HandleDatabase.h"
#include "sim/firmware/ImageService.h"
#include "sim/firmware/Platform.h"
#include "uefi/FirmwareVolume2.h"
#include "uefi/LoadFile.h"
#include "uefi/SimpleFileSystem.h"

#include <array>
#include <string>

namespace sim {

namespace {

using Path = EFI_DEVICE_PATH_PROTOCOL;
using Bytes = std::vector<UINT8>;

// The interface of the deepest handle on the path that has it, and the path behind that handle.
template <class Protocol>
Protocol* Locate(const Platform& platform, Path*& path, EFI_HANDLE* device) {
    Path* rest = path;
    const EFI_GUID& guid = ProtocolGuid<Protocol>::value;
    if (EFI_ERROR(platform.handles->LocateDevicePath(guid, &rest, device))) {
        return nullptr;
    }
    path = rest;
    return static_cast<Protocol*>(platform.handles->Find(*device, guid));
}

EFI_STATUS FromVolume(Platform& platform, Path* path, Bytes& bytes, EFI_HANDLE* device) {
    auto* volume = Locate<EFI_FIRMWARE_VOLUME2_PROTOCOL>(platform, path, device);
    const auto* node = kelm::NodeAs<MEDIA_FW_VOL_FILEPATH_DEVICE_PATH>(path, kDevicePathTypeMedia,
                                                                       kMediaSubTypeFirmwareFile);
    if (volume == nullptr || node == nullptr || !kelm::IsEndNode(kelm::NextNode(path))) {
        return EFI_NOT_FOUND;
    }
    const EFI_GUID name = node->FvFileName; // lies aligned here
    void* buffer = nullptr;
    UINTN size = 0;
    UINT32 authentication = 0;
    const EFI_STATUS status =
        volume->ReadSection(volume, &name, EFI_SECTION_PE32, 0, &buffer, &size, &authentication);
    if (EFI_ERROR(status)) {
        return status;
    }
    bytes.assign(static_cast<UINT8*>(buffer), static_cast<UINT8*>(buffer) + size);
    static_cast<void>(platform.arena->FreePool(buffer));
    return EFI_SUCCESS;
}

// The file name that the rest of a path spells; empty when it is none.
bool FileName(const Path* path, std::u16string& name) {
    for (; !kelm::IsEndNode(path); path = kelm::NextNode(path)) {
        if (!kelm::IsNode(path, kDevicePathTypeMedia, kMediaSubTypeFilePath)) {
            return false;
        }
        const auto text = kelm::NodeBytes(path).subspan(kelm::kNodeHeaderSize);
        if (!name.empty() && name.back() != u'\\') {
            name += u'\\';
        }
        for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
            if (const auto character = char16_t(text[at] | text[at + 1] << 8); character != 0) {
                name += character;
            }
        }
    }
    return !name.empty();
}

EFI_STATUS ReadWhole(EFI_FILE_PROTOCOL* file, Bytes& bytes) {
    // Room for the longest name of a file.
    alignas(EFI_FILE_INFO) std::array<UINT8, sizeof(EFI_FILE_INFO) + 512> record;
    UINTN size = record.size();
    EFI_STATUS status = file->GetInfo(file, &gEfiFileInfoGuid, &size, record.data());
    if (EFI_ERROR(status)) {
        return status;
    }
    const auto* info = reinterpret_cast<const EFI_FILE_INFO*>(record.data());
    if ((info->Attribute & EFI_FILE_DIRECTORY) != 0) {
        return EFI_NOT_FOUND;
    }
    bytes.resize(info->FileSize);
    size = bytes.size();
    status = file->Read(file, &size, bytes.data());
    if (!EFI_ERROR(status)) {
        bytes.resize(size);
    }
    return status;
}

EFI_STATUS FromFileSystem(Platform& platform, Path* path, Bytes& bytes, EFI_HANDLE* device) {
    auto* system = Locate<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL>(platform, path, device);
    BootLocal<std::u16string> name;
    if (system == nullptr || !FileName(path, *name)) {
        return EFI_NOT_FOUND;
    }
    EFI_FILE_PROTOCOL* root = nullptr;
    EFI_STATUS status = system->OpenVolume(system, &root);
    if (EFI_ERROR(status)) {
        return status;
    }
    EFI_FILE_PROTOCOL* file = nullptr;
    status = root->Open(root, &file, name->c_str(), EFI_FILE_MODE_READ, 0);
    static_cast<void>(root->Close(root));
    if (EFI_ERROR(status)) {
        return status;
    }
    status = ReadWhole(file, bytes);
    static_cast<void>(file->Close(file));
    return status;
}

template <class Protocol>
EFI_STATUS FromLoadFile(Platform& platform, Path* path, bool bootPolicy, Bytes& bytes,
                        EFI_HANDLE* device) {
    auto* loader = Locate<Protocol>(platform, path, device);
    if (loader == nullptr) {
        return EFI_NOT_FOUND;
    }
    UINTN size = 0;
    EFI_STATUS status = loader->LoadFile(loader, path, bootPolicy ? TRUE : FALSE, &size, nullptr);
    if (status == EFI_BUFFER_TOO_SMALL) {
        bytes.resize(size);
        status = loader->LoadFile(loader, path, bootPolicy ? TRUE : FALSE, &size, bytes.data());
    }
    if (status != EFI_SUCCESS) {
        // Something other than an image, such as a RAM disk, is no file to load.
        return EFI_ERROR(status) ? status : EFI_NOT_FOUND;
    }
    bytes.resize(size);
    return EFI_SUCCESS;
}

} // namespace

void AddImageFiles(Platform& platform) {
    platform.images->AddFileSource([&platform](Path* path, bool bootPolicy, Bytes& bytes,
                                               EFI_HANDLE* device) {
        EFI_STATUS status = FromVolume(platform, path, bytes, device);
        if (status == EFI_NOT_FOUND) {
            status = FromFileSystem(platform, path, bytes, device);
        }
        if (status == EFI_NOT_FOUND) {
            status =
                bootPolicy
                    ? FromLoadFile<EFI_LOAD_FILE_PROTOCOL>(platform, path, true, bytes, device)
                    : FromLoadFile<EFI_LOAD_FILE2_PROTOCOL>(platform, path, false, bytes, device);
        }
        return status;
    });
}

} // namespace sim
