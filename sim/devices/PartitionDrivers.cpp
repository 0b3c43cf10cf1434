// What drives media, whichever bus they are on: the partition driver brings the parts of whole
// media, the file system driver publishes the files of partitions, boot images and whole media.
#include "sim/devices/BlockDevice.h"
#include "sim/devices/BlockMedia.h"
#include "sim/devices/Devices.h"
#include "sim/devices/FileSystem.h"
#include "sim/devices/ImageFiles.h"
#include "sim/devices/MediaTree.h"
#include "uefi/BlockIo.h"

namespace sim {

namespace {

bool IsPart(const Device& child) {
    return child.kind == kKindPartition || child.kind == kKindBootImage;
}

bool IsReadable(const Device& device) {
    const auto* media = device.Find<BlockMedia>();
    return media != nullptr && media->geometry.Readable();
}

class PartitionDriver final : public DeviceDriver {
public:
    explicit PartitionDriver(Devices& owner)
        : DeviceDriver(owner, "Partition", gEfiBlockIoProtocolGuid) {}

private:
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        const bool whole = remaining == nullptr || remaining->Type == kDevicePathTypeEnd;
        return IsReadable(device) &&
               !AskedChildren(device, whole ? nullptr : remaining, &IsPart).empty();
    }
    std::vector<Device*> Children(Device& device,
                                  const EFI_DEVICE_PATH_PROTOCOL* remaining) override {
        return AskedChildren(device, remaining, &IsPart);
    }
    bool Again(const Device& device, const EFI_DEVICE_PATH_PROTOCOL* remaining) const override {
        return AnyAbsent(AskedChildren(device, remaining, &IsPart));
    }
    void Bring(Device& child) override { PublishBlockDevice(child, DiskInfoBus::None); }
};

class FileSystemDriver final : public DeviceDriver {
public:
    explicit FileSystemDriver(Devices& owner)
        : DeviceDriver(owner, "FileSystem", gEfiBlockIoProtocolGuid) {}

    void PowerOn() override {
        for (std::size_t i = 0; i < devices.All().size(); i++) {
            if (devices.All()[i]->kind == kKindFileSystem) {
                PublishOn(*devices.All()[i]);
            }
        }
    }

private:
    static void PublishOn(Device& device) {
        device.Publish(gEfiSimpleFileSystemProtocolGuid,
                       device.Keep<FileSystem>(device, *device.Find<FileTree>()).Protocol());
    }
    bool Drives(const Device& device, const EFI_DEVICE_PATH_PROTOCOL*) const override {
        return device.Find<FileTree>() != nullptr && IsReadable(device);
    }
    EFI_STATUS Attach(Device& device, const EFI_DEVICE_PATH_PROTOCOL*) override {
        PublishOn(device);
        return EFI_SUCCESS;
    }
    void Detach(Device& device) override {
        static_cast<void>(device.Withdraw(gEfiSimpleFileSystemProtocolGuid));
    }
};

} // namespace

void AddPartitionDrivers(Devices& devices, DriverList& drivers) {
    drivers.push_back(std::make_unique<PartitionDriver>(devices));
    drivers.push_back(std::make_unique<FileSystemDriver>(devices));
    AddImageFiles(devices.platform);
}

} // namespace sim
