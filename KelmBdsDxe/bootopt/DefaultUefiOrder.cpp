#include "bootopt/DefaultUefiOrder.h"

#include "boot/UsbShortForm.h"
#include "bootopt/AutoOption.h"
#include "bootopt/CandidateHandles.h"
#include "bootopt/OrderVariable.h"
#include "bootopt/PartitionNode.h"
#include "bootopt/UefiOptions.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "library/firmware/TaskPriority.h"
#include "uefi/BlockIo.h"
#include "uefi/FirmwareVolume2.h"
#include "uefi/UsbIo.h"

#include <algorithm>

namespace kelm {

namespace {

// A candidate with what its options are compared with.
struct Candidate {
    explicit Candidate(EFI_HANDLE candidate) : handle(candidate) {
        isBlockDevice = ProtocolOnHandle<EFI_BLOCK_IO_PROTOCOL>(handle) != nullptr;
        path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
        if (ProtocolOnHandle<EFI_FIRMWARE_VOLUME2_PROTOCOL>(handle) != nullptr) {
            shellPath = BdsShellPathOf(handle);
            path = shellPath.get();
        }
        auto* rest = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path);
        if (isBlockDevice && path != nullptr) {
            static_cast<void>(gBS->LocateDevicePath(&gEfiUsbIoProtocolGuid, &rest, &usbDevice));
        }
    }

    EFI_HANDLE handle;
    bool isBlockDevice;
    const EFI_DEVICE_PATH_PROTOCOL* path;
    EFI_HANDLE usbDevice = nullptr; // the one that it is, or lies on
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> shellPath;
};

// The partitions that are present, found once.
class Partitions {
public:
    Partitions() {
        static_cast<void>(devices_.LocateByProtocol(gEfiBlockIoProtocolGuid));
        entries_ = AllocatePool<Entry>(devices_.handles().size());
        for (UINTN i = 0; entries_ && i < devices_.handles().size(); ++i) {
            const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(devices_.handles()[i]);
            const auto* node =
                path == nullptr ? nullptr
                                : NodeAs<HARDDRIVE_DEVICE_PATH>(
                                      LastNode(path), kDevicePathTypeMedia, kMediaSubTypeHardDrive);
            if (node != nullptr) {
                entries_[count_++] = {path, node};
            }
        }
    }

    bool HasMemory() const { return entries_ || devices_.handles().empty(); }
    // Whether a partition like the node lies on the device with that path.
    bool IsOnDevice(const HARDDRIVE_DEVICE_PATH& node,
                    const EFI_DEVICE_PATH_PROTOCOL* device) const {
        return std::ranges::any_of(std::span<const Entry>(entries_.get(), count_),
                                   [&](const Entry& entry) {
                                       return IsSamePartition(*entry.node, node) &&
                                              DevicePathStartsWith(entry.path, device);
                                   });
    }

private:
    struct Entry {
        const EFI_DEVICE_PATH_PROTOCOL* path;
        const HARDDRIVE_DEVICE_PATH* node;
    };

    HandleBuffer devices_;
    PoolPtr<Entry> entries_;
    UINTN count_ = 0;
};

bool BelongsTo(const CachedOption& option, const Candidate& candidate,
               const Partitions& partitions) {
    const EFI_DEVICE_PATH_PROTOCOL* path = option.path();
    if (candidate.isBlockDevice) {
        const auto* partition =
            NodeAs<HARDDRIVE_DEVICE_PATH>(path, kDevicePathTypeMedia, kMediaSubTypeHardDrive);
        if (partition != nullptr) {
            return partitions.IsOnDevice(*partition, candidate.path);
        }
        if (BdsFindUsbShortFormNode(path) != nullptr) {
            return candidate.usbDevice != nullptr && BdsIsUsbShortFormOf(path, candidate.usbDevice);
        }
    }
    return DevicePathStartsWith(path, candidate.path);
}

// The order that is built, each number once.
class DefaultOrder {
public:
    explicit DefaultOrder(UINTN room)
        : numbers_(AllocatePool<UINT16>(room)), taken_(AllocateZeroPool<bool>(room)) {}

    bool HasMemory() const { return numbers_ && taken_; }
    bool IsTaken(UINTN entry) const { return taken_[entry]; }
    void Take(UINTN entry, UINT16 number) {
        taken_[entry] = true;
        if (std::ranges::find(numbers(), number) == numbers().end()) {
            numbers_[count_++] = number;
        }
    }
    std::span<const UINT16> numbers() const { return {numbers_.get(), count_}; }

private:
    PoolPtr<UINT16> numbers_;
    PoolPtr<bool> taken_; // by entry of UefiBootOrder
    UINTN count_ = 0;
};

void TakeOptionsOf(EFI_HANDLE handle, UefiOptions& options, const Partitions& partitions,
                   DefaultOrder& order) {
    const Candidate candidate(handle);
    if (candidate.path == nullptr) {
        return;
    }
    const std::span<const UINT16> numbers = options.numbers();
    for (UINTN i = 0; i < numbers.size(); ++i) {
        if (order.IsTaken(i)) {
            continue;
        }
        const CachedOption* option = options.cache().Find(numbers[i]);
        if (option != nullptr && BelongsTo(*option, candidate, partitions)) {
            order.Take(i, numbers[i]);
        }
    }
}

EFI_STATUS TakeOptionsOfCandidates(UefiOptions& options, DefaultOrder& order) {
    const RaisedTaskPriority raised(TPL_CALLBACK);
    UINTN count = 0;
    PoolPtr<EFI_HANDLE> handles;
    const EFI_STATUS status =
        BdsGetBootCandidateHandles(kUefiBootCandidates, &count, handles.out());
    const Partitions partitions;
    if (EFI_ERROR(status) || !partitions.HasMemory()) {
        return EFI_ERROR(status) ? status : EFI_OUT_OF_RESOURCES;
    }
    for (UINTN i = 0; i < count; ++i) {
        TakeOptionsOf(handles[i], options, partitions, order);
    }
    return EFI_SUCCESS;
}

} // namespace

EFI_STATUS BdsBuildDefaultUefiBootOrder() {
    const KelmVariable& variable = kVariableDefaultUefiBootOrder;
    UefiOptions options;
    if (options.status() == EFI_NOT_FOUND) {
        return BdsDeleteVariable(variable.name, variable.guid);
    }
    if (EFI_ERROR(options.status())) {
        return options.status();
    }
    const std::span<const UINT16> numbers = options.numbers();
    DefaultOrder order(numbers.size());
    if (!order.HasMemory()) {
        return EFI_OUT_OF_RESOURCES;
    }
    const EFI_STATUS status = TakeOptionsOfCandidates(options, order);
    if (EFI_ERROR(status)) {
        return status;
    }
    for (UINTN i = 0; i < numbers.size(); ++i) {
        if (!order.IsTaken(i)) {
            order.Take(i, numbers[i]);
        }
    }
    return BdsWriteOrder(variable.name, variable.guid, order.numbers());
}

} // namespace kelm
