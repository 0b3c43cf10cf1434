#include "sim/siblings/RamDiskService.h"

#include "library/pure/DevicePath.h"
#include "sim/devices/BlockDevice.h"
#include "sim/devices/BlockMedia.h"
#include "sim/devices/Devices.h"
#include "sim/devices/MediaTree.h"
#include "sim/siblings/DeviceLocations.h"

#include <algorithm>
#include <cstring>

namespace sim {

void RamDiskService::Install() {
    protocol_.Serve<"Register", &RamDiskService::Register>(&EFI_RAM_DISK_PROTOCOL::Register)
        .Serve<"Unregister", &RamDiskService::Unregister>(&EFI_RAM_DISK_PROTOCOL::Unregister);
    if (InstallTable(protocol_) == nullptr) {
        return;
    }
    // All that are known now are those of the machine file.
    const auto& all = platform.Get<Devices>().All();
    for (std::size_t i = 0; i < all.size(); i++) {
        if (all[i]->Find<MemoryMedia>() != nullptr) {
            PutInPlace(*all[i]);
        }
    }
}

// Fills the memory of a RAM disk of the machine file and registers it.
void RamDiskService::PutInPlace(Device& device) {
    const auto& media = *device.Find<MemoryMedia>();
    UINT64 address = media.address;
    const UINT64 pages = (media.geometry.Bytes() + Arena::kPageSize - 1) / Arena::kPageSize;
    if (EFI_ERROR(platform.arena->AllocatePages(AllocateAddress, EfiReservedMemoryType, pages,
                                                &address, "RamDisk"))) {
        return; // out of memory, as for any other allocation
    }
    auto* memory = reinterpret_cast<UINT8*>(address);
    std::memset(memory, 0, media.geometry.Bytes());
    for (const auto& [block, bytes] : media.content) {
        std::copy(bytes.begin(), bytes.end(), memory + block * media.geometry.blockSize);
    }
    disks_.push_back(&device);
    static_cast<void>(device.devices.Appear(device));
    PublishBlockDevice(device, DiskInfoBus::None);
}

EFI_STATUS RamDiskService::Register(UINT64 base, UINT64 size, const EFI_GUID* type,
                                    EFI_DEVICE_PATH_PROTOCOL* parent,
                                    EFI_DEVICE_PATH_PROTOCOL** path) {
    if (path == nullptr || type == nullptr || size < kRamDiskBlockSize || base + size < base) {
        return EFI_INVALID_PARAMETER;
    }
    Device* device = nullptr;
    {
        const auto above = PathNodes(parent);
        std::vector<std::uint8_t> nodes(above.begin(), above.end());
        const auto node = RamDiskNode(base, size, *type);
        nodes.insert(nodes.end(), node.begin(), node.end());
        device = &platform.Get<Devices>().Add(nullptr, nodes, "ram-disk");
    }
    if (device->handle != nullptr) {
        return EFI_ALREADY_STARTED;
    }
    *path = static_cast<EFI_DEVICE_PATH_PROTOCOL*>(
        platform.CopyToPool(device->path.data(), device->path.size(), "RamDisk"));
    if (*path == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    MediaGeometry shape;
    shape.blocks = size / kRamDiskBlockSize;
    shape.blockSize = kRamDiskBlockSize;
    shape.readOnly = *type == gEfiVirtualCdGuid || *type == gEfiPersistentVirtualCdGuid;
    device->Keep<MemoryMedia>(platform, shape, base);
    disks_.push_back(device);
    const EFI_STATUS status = device->devices.Appear(*device);
    PublishBlockDevice(*device, DiskInfoBus::None);
    return status;
}

EFI_STATUS RamDiskService::Unregister(EFI_DEVICE_PATH_PROTOCOL* path) {
    if (path == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (kelm::FindNode(path, kDevicePathTypeMedia, kMediaSubTypeRamDisk) == nullptr) {
        return EFI_UNSUPPORTED;
    }
    // A path to something on the RAM disk names it too.
    const auto found = std::find_if(disks_.begin(), disks_.end(), [&](const Device* disk) {
        return kelm::DevicePathStartsWith(path, disk->Path());
    });
    if (found == disks_.end()) {
        return EFI_NOT_FOUND;
    }
    Device& device = **found;
    if (!device.devices.Disappear(device)) {
        return EFI_ACCESS_DENIED;
    }
    std::erase(disks_, &device);
    return EFI_SUCCESS;
}

} // namespace sim
