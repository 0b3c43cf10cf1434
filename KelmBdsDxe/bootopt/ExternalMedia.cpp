#include "bootopt/ExternalMedia.h"

#include "bootopt/DeviceLocation.h"
#include "bootopt/OrderVariable.h"
#include "kelm/DeviceLocationProtocol.h"
#include "library/firmware/Protocol.h"
#include "library/pure/DevicePath.h"
#include "library/pure/Ucs2.h"
#include "uefi/GlobalVariable.h"
#include "uefi/SimpleFileSystem.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kelm {

namespace {

constexpr std::array<std::u16string_view, 3> kExternalLocations = {u".USBFront.", u".USBBack.",
                                                                   u".NimborVirtual."};

bool IsExternal(const EFI_DEVICE_PATH_PROTOCOL* path) {
    PoolPtr<CHAR16> fqdd;
    if (EFI_ERROR(BdsGetDeviceLocation(path, nullptr, &fqdd))) {
        return false;
    }
    const std::u16string_view text = Ucs2View(fqdd.get());
    return std::any_of(
        kExternalLocations.begin(), kExternalLocations.end(),
        [&](std::u16string_view location) { return Ucs2Find(text, location) != kNotFound; });
}

bool Loads(bool bootPolicy, EFI_DEVICE_PATH_PROTOCOL* path) {
    EFI_HANDLE image = nullptr;
    const EFI_STATUS status =
        gBS->LoadImage(bootPolicy ? TRUE : FALSE, gImageHandle, path, nullptr, 0, &image);
    // An image that policy refuses is in memory all the same.
    if (!EFI_ERROR(status) || (status == EFI_SECURITY_VIOLATION && image != nullptr)) {
        static_cast<void>(gBS->UnloadImage(image));
    }
    return !EFI_ERROR(status);
}

// The default boot file as a path node.
struct [[gnu::packed]] DefaultFileNode {
    EFI_DEVICE_PATH_PROTOCOL header;
    CHAR16 name[std::size(EFI_REMOVABLE_MEDIA_FILE_NAME_X64)];
};

bool LoadsDefaultFile(const EFI_DEVICE_PATH_PROTOCOL* fileSystem) {
    DefaultFileNode node;
    SetNodeHeader(&node.header, kDevicePathTypeMedia, kMediaSubTypeFilePath, sizeof(node));
    std::memcpy(node.name, EFI_REMOVABLE_MEDIA_FILE_NAME_X64, sizeof(node.name));
    const size_t size = AppendDevicePathNode({}, fileSystem, &node.header);
    const PoolPtr<UINT8> path = AllocatePool<UINT8>(size);
    if (size == 0 || !path) {
        return false;
    }
    AppendDevicePathNode({path.get(), size}, fileSystem, &node.header);
    return Loads(false, reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(path.get()));
}

// A file system on the device: a partition of it, or the one that a path leads into.
bool IsOnDevice(const EFI_DEVICE_PATH_PROTOCOL* fileSystem,
                const EFI_DEVICE_PATH_PROTOCOL* device) {
    return fileSystem != nullptr && !IsEndNode(fileSystem) && !IsEndNode(device) &&
           (DevicePathStartsWith(fileSystem, device) || DevicePathStartsWith(device, fileSystem));
}

bool IsBootable(EFI_DEVICE_PATH_PROTOCOL* path) {
    if (Loads(true, path)) {
        return true;
    }
    HandleBuffer fileSystems;
    static_cast<void>(fileSystems.LocateByProtocol(gEfiSimpleFileSystemProtocolGuid));
    return std::any_of(fileSystems.handles().begin(), fileSystems.handles().end(),
                       [&](EFI_HANDLE handle) {
                           const auto* own = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
                           return IsOnDevice(own, path) && LoadsDefaultFile(own);
                       });
}

} // namespace

BootOptionRecord* BdsFindFirstExternalMediaOption() {
    KelmDeviceLocationProtocol* service = nullptr;
    OptionOrder order;
    if (EFI_ERROR(BdsLocateDeviceLocation(service)) ||
        EFI_ERROR(BdsReadOrder(kBootOrderName, &gEfiGlobalVariableGuid, order))) {
        return nullptr;
    }
    for (const UINT16 number : order.numbers()) {
        OwnedBootOption option(BdsReadBootOption(number));
        if (option && IsExternal(option->DevicePath) && IsBootable(option->DevicePath)) {
            return option.release();
        }
    }
    return nullptr;
}

} // namespace kelm
