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
#include <cstring>
#include <span>

namespace kelm {

namespace {

using Bytes = std::span<const UINT8>;

// The nodes of a path, without its end. Where they begin another path, they end at a node of it.
Bytes NodesOf(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const Bytes bytes = DevicePathBytes(path);
    return bytes.empty() ? bytes : bytes.first(bytes.size() - kNodeHeaderSize);
}

bool BeginsWith(Bytes path, Bytes nodes) {
    return nodes.size() <= path.size() && std::memcmp(path.data(), nodes.data(), nodes.size()) == 0;
}

// The partitions that are present.
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
                entries_[count_++] = {DevicePathBytes(path), node};
            }
        }
    }

    bool HasMemory() const { return entries_ || devices_.handles().empty(); }
    // Calls visit(path) for each partition like the node.
    template <class Visitor>
    void ForEachLike(const HARDDRIVE_DEVICE_PATH& node, Visitor visit) const {
        for (UINTN i = 0; i < count_; ++i) {
            if (IsSamePartition(*entries_[i].node, node)) {
                visit(entries_[i].path);
            }
        }
    }

private:
    struct Entry {
        Bytes path;
        const HARDDRIVE_DEVICE_PATH* node;
    };

    HandleBuffer devices_;
    PoolPtr<Entry> entries_;
    UINTN count_ = 0;
};

// An option of UefiBootOrder with what candidates are compared with.
struct ListedOption {
    enum class Form : UINT8 { Whole, HardDrive, Usb };

    const CachedOption* option; // null: it cannot be read
    Form form;
    bool taken;
    // Where the partitions like a hard-drive short form's begin among those found, and how many.
    UINTN firstPartition;
    UINTN partitions;
};

// The options of UefiBootOrder, and where they lie.
class ListedOptions {
public:
    // EFI_OUT_OF_RESOURCES.
    EFI_STATUS Read(UefiOptions& options, const Partitions& partitions);

    std::span<ListedOption> entries() { return {entries_.get(), count_}; }
    bool hasUsbShortForm() const { return hasUsbShortForm_; }
    // Whether a hard-drive short form names a partition of the device with these nodes.
    bool IsPartitionOn(const ListedOption& listed, Bytes device) const {
        const std::span<const Bytes> found(found_.get() + listed.firstPartition, listed.partitions);
        return std::ranges::any_of(found, [&](Bytes path) { return BeginsWith(path, device); });
    }

private:
    PoolPtr<ListedOption> entries_;
    UINTN count_ = 0;
    PoolPtr<Bytes> found_; // partitions, by option
    bool hasUsbShortForm_ = false;
};

EFI_STATUS ListedOptions::Read(UefiOptions& options, const Partitions& partitions) {
    const std::span<const UINT16> numbers = options.numbers();
    entries_ = AllocateZeroPool<ListedOption>(numbers.size());
    if (!entries_) {
        return EFI_OUT_OF_RESOURCES;
    }
    count_ = numbers.size();
    const auto partitionNode = [](const ListedOption& listed) {
        return listed.option == nullptr
                   ? nullptr
                   : NodeAs<HARDDRIVE_DEVICE_PATH>(listed.option->path(), kDevicePathTypeMedia,
                                                   kMediaSubTypeHardDrive);
    };
    UINTN found = 0;
    for (UINTN i = 0; i < count_; ++i) {
        ListedOption& listed = entries_[i];
        listed.option = options.cache().Find(numbers[i]);
        if (const auto* node = partitionNode(listed)) {
            listed.form = ListedOption::Form::HardDrive;
            listed.firstPartition = found;
            partitions.ForEachLike(*node, [&](Bytes) { ++listed.partitions; });
            found += listed.partitions;
        } else if (listed.option != nullptr &&
                   BdsFindUsbShortFormNode(listed.option->path()) != nullptr) {
            listed.form = ListedOption::Form::Usb;
            hasUsbShortForm_ = true;
        }
    }
    if (found == 0) {
        return EFI_SUCCESS;
    }
    found_ = AllocatePool<Bytes>(found);
    if (!found_) {
        return EFI_OUT_OF_RESOURCES;
    }
    UINTN next = 0;
    for (const ListedOption& listed : entries()) {
        if (const auto* node = partitionNode(listed)) {
            partitions.ForEachLike(*node, [&](Bytes path) { found_[next++] = path; });
        }
    }
    return EFI_SUCCESS;
}

// Puts the options of one candidate behind those of the candidates before it.
class DefaultOrder {
public:
    explicit DefaultOrder(UINTN room) : numbers_(AllocatePool<UINT16>(room)) {}

    bool HasMemory() const { return static_cast<bool>(numbers_); }
    void Take(ListedOption& listed, UINT16 number) {
        listed.taken = true;
        if (std::ranges::find(numbers(), number) == numbers().end()) {
            numbers_[count_++] = number;
        }
    }
    std::span<const UINT16> numbers() const { return {numbers_.get(), count_}; }

private:
    PoolPtr<UINT16> numbers_;
    UINTN count_ = 0;
};

EFI_HANDLE UsbDeviceOf(const EFI_DEVICE_PATH_PROTOCOL* path) {
    auto* rest = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path);
    EFI_HANDLE device = nullptr;
    return EFI_ERROR(gBS->LocateDevicePath(&gEfiUsbIoProtocolGuid, &rest, &device)) ? nullptr
                                                                                    : device;
}

void TakeOptionsOf(EFI_HANDLE handle, std::span<const UINT16> numbers, ListedOptions& listed,
                   DefaultOrder& order) {
    const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> shellPath;
    if (ProtocolOnHandle<EFI_FIRMWARE_VOLUME2_PROTOCOL>(handle) != nullptr) {
        shellPath = BdsShellPathOf(handle);
        path = shellPath.get();
    }
    const Bytes nodes = NodesOf(path);
    if (nodes.empty()) {
        return;
    }
    const bool blockDevice = ProtocolOnHandle<EFI_BLOCK_IO_PROTOCOL>(handle) != nullptr;
    EFI_HANDLE usbDevice = blockDevice && listed.hasUsbShortForm() ? UsbDeviceOf(path) : nullptr;
    const auto belongs = [&](const ListedOption& entry) {
        if (blockDevice && entry.form == ListedOption::Form::HardDrive) {
            return listed.IsPartitionOn(entry, nodes);
        }
        if (blockDevice && entry.form == ListedOption::Form::Usb) {
            return usbDevice != nullptr && BdsIsUsbShortFormOf(entry.option->path(), usbDevice);
        }
        return BeginsWith(entry.option->view.devicePath, nodes);
    };
    for (UINTN i = 0; i < numbers.size(); ++i) {
        ListedOption& entry = listed.entries()[i];
        if (!entry.taken && entry.option != nullptr && belongs(entry)) {
            order.Take(entry, numbers[i]);
        }
    }
}

EFI_STATUS TakeOptions(UefiOptions& options, DefaultOrder& order) {
    const RaisedTaskPriority raised(TPL_CALLBACK);
    const Partitions partitions;
    ListedOptions listed;
    UINTN count = 0;
    PoolPtr<EFI_HANDLE> handles;
    EFI_STATUS status =
        partitions.HasMemory() ? listed.Read(options, partitions) : EFI_OUT_OF_RESOURCES;
    if (!EFI_ERROR(status)) {
        status = BdsGetBootCandidateHandles(kUefiBootCandidates, &count, handles.out());
    }
    if (EFI_ERROR(status)) {
        return status;
    }
    const std::span<const UINT16> numbers = options.numbers();
    for (UINTN i = 0; i < count; ++i) {
        TakeOptionsOf(handles[i], numbers, listed, order);
    }
    for (UINTN i = 0; i < numbers.size(); ++i) {
        if (ListedOption& entry = listed.entries()[i]; !entry.taken) {
            order.Take(entry, numbers[i]);
        }
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
    DefaultOrder order(options.numbers().size());
    const EFI_STATUS status =
        order.HasMemory() ? TakeOptions(options, order) : EFI_OUT_OF_RESOURCES;
    if (EFI_ERROR(status)) {
        return status;
    }
    return BdsWriteOrder(variable.name, variable.guid, order.numbers());
}

} // namespace kelm
