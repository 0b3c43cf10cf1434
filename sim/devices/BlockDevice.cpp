#include "sim/devices/BlockDevice.h"

#include "sim/devices/BlockMedia.h"
#include "sim/devices/DiskInfo.h"
#include "sim/siblings/Sibling.h"
#include "uefi/BlockIo.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr UINT32 kMediaId = 1;
constexpr UINT32 kAlignment = 4; // of buffers, in bytes

// Block I/O over a medium, from one publication to its withdrawal.
class BlockDevice final : public DeviceObject {
public:
    BlockDevice(const Device& device, BlockMedia& media) : device_(device), media_(media) {
        const MediaGeometry& shape = media.geometry;
        record_.MediaId = kMediaId;
        record_.RemovableMedia = shape.removable;
        record_.MediaPresent = shape.present;
        record_.LogicalPartition = shape.partition;
        record_.ReadOnly = shape.readOnly;
        record_.BlockSize = shape.blockSize;
        record_.IoAlign = kAlignment;
        record_.LastBlock = shape.blocks - 1;
        table_.protocol = {EFI_BLOCK_IO_PROTOCOL_REVISION2,
                           &record_,
                           &Reset,
                           &ReadBlocks,
                           &WriteBlocks,
                           &FlushBlocks};
        table_.owner = this;
    }
    EFI_BLOCK_IO_PROTOCOL* Protocol() { return &table_.protocol; }

private:
    using Table = Interface<EFI_BLOCK_IO_PROTOCOL, BlockDevice>;

    // The state of the medium comes first: callers probe for it with arguments that are wrong.
    EFI_STATUS CheckMedium(UINT32 mediaId) const {
        if (!record_.MediaPresent) {
            return EFI_NO_MEDIA;
        }
        return mediaId != record_.MediaId ? EFI_MEDIA_CHANGED : EFI_SUCCESS;
    }
    EFI_STATUS CheckRange(EFI_LBA block, UINTN size, const void* buffer) const {
        if (buffer == nullptr) {
            return EFI_INVALID_PARAMETER;
        }
        if (size % record_.BlockSize != 0) {
            return EFI_BAD_BUFFER_SIZE;
        }
        const bool aligned = reinterpret_cast<UINTN>(buffer) % record_.IoAlign == 0;
        const bool within =
            block <= record_.LastBlock && size / record_.BlockSize <= record_.LastBlock - block + 1;
        return aligned && within ? EFI_SUCCESS : EFI_INVALID_PARAMETER;
    }

    static EFI_STATUS EFIAPI Reset(EFI_BLOCK_IO_PROTOCOL* self, BOOLEAN) {
        BlockDevice& device = Table::From(self);
        if (auto fault = device.device_.Enter("BlockIo", "Reset", self)) {
            return *fault;
        }
        return EFI_SUCCESS;
    }
    static EFI_STATUS EFIAPI ReadBlocks(EFI_BLOCK_IO_PROTOCOL* self, UINT32 mediaId, EFI_LBA block,
                                        UINTN size, void* buffer) {
        BlockDevice& device = Table::From(self);
        if (auto fault = device.device_.Enter("BlockIo", "ReadBlocks", self)) {
            return *fault;
        }
        if (const EFI_STATUS status = device.CheckMedium(mediaId); EFI_ERROR(status)) {
            return status;
        }
        if (const EFI_STATUS status = device.CheckRange(block, size, buffer); EFI_ERROR(status)) {
            return status;
        }
        return device.media_.Read(block, {static_cast<UINT8*>(buffer), size});
    }
    static EFI_STATUS EFIAPI WriteBlocks(EFI_BLOCK_IO_PROTOCOL* self, UINT32 mediaId, EFI_LBA block,
                                         UINTN size, const void* buffer) {
        BlockDevice& device = Table::From(self);
        if (auto fault = device.device_.Enter("BlockIo", "WriteBlocks", self)) {
            return *fault;
        }
        if (const EFI_STATUS status = device.CheckMedium(mediaId); EFI_ERROR(status)) {
            return status;
        }
        if (device.record_.ReadOnly) {
            return EFI_WRITE_PROTECTED;
        }
        if (const EFI_STATUS status = device.CheckRange(block, size, buffer); EFI_ERROR(status)) {
            return status;
        }
        return device.media_.Write(block, {static_cast<const UINT8*>(buffer), size});
    }
    static EFI_STATUS EFIAPI FlushBlocks(EFI_BLOCK_IO_PROTOCOL* self) {
        BlockDevice& device = Table::From(self);
        if (auto fault = device.device_.Enter("BlockIo", "FlushBlocks", self)) {
            return *fault;
        }
        return device.CheckMedium(kMediaId);
    }

    Table table_;
    EFI_BLOCK_IO_MEDIA record_{};
    const Device& device_;
    BlockMedia& media_;
};

constexpr auto kMediaKinds = std::to_array<std::string_view>(
    {"virtual-disk", "nvme", "sata-disk", "sata-optical", "usb-disk", "usb-optical", "usb-floppy",
     "ram-disk", "floppy", "atapi-optical", "atapi-tape"});

} // namespace

bool CarriesMedia(std::string_view kind) {
    return std::find(kMediaKinds.begin(), kMediaKinds.end(), kind) != kMediaKinds.end();
}

void PublishBlockDevice(Device& device, DiskInfoBus bus) {
    auto* media = device.Find<BlockMedia>();
    if (media == nullptr) {
        return;
    }
    device.Publish(gEfiBlockIoProtocolGuid, device.Keep<BlockDevice>(device, *media).Protocol());
    if (bus != DiskInfoBus::None) {
        device.Publish(gEfiDiskInfoProtocolGuid,
                       device.Keep<DiskInfo>(device, *media, bus).Protocol());
    }
}

bool WithdrawBlockDevice(Device& device) {
    for (const EFI_GUID& protocol : {gEfiDiskInfoProtocolGuid, gEfiBlockIoProtocolGuid}) {
        if (device.Publishes(protocol) && !device.Withdraw(protocol)) {
            return false;
        }
    }
    return true;
}

} // namespace sim
