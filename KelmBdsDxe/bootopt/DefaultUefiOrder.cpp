#include "bootopt/DefaultUefiOrder.h"

#include "boot/UsbShortForm.h"
#include "bootopt/AutoOption.h"
#include "bootopt/CandidateHandles.h"
#include "bootopt/PartitionNode.h"
#include "bootopt/PathPrefixes.h"
#include "bootopt/UefiOptions.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "library/firmware/TaskPriority.h"
#include "uefi/BlockIo.h"
#include "uefi/FirmwareVolume2.h"
#include "uefi/UsbIo.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>

namespace kelm {

namespace {

using Bytes = std::span<const UINT8>;

// The nodes of a path, without its end.
Bytes NodesOf(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const Bytes bytes = DevicePathBytes(path);
    return bytes.empty() ? bytes : bytes.first(bytes.size() - kNodeHeaderSize);
}

// The partitions that are present, in the order of the first bytes of their signatures.
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
                entries_[count_++] = {KeyOf(*node), node, path};
            }
        }
        std::sort(entries_.get(), entries_.get() + count_,
                  [](const Entry& a, const Entry& b) { return a.key < b.key; });
    }

    bool HasMemory() const { return entries_ || devices_.handles().empty(); }
    // Calls visit(path) for each partition like the node.
    template <class Visitor>
    void ForEachLike(const HARDDRIVE_DEVICE_PATH& node, Visitor visit) const {
        const UINT32 key = KeyOf(node);
        const std::span<const Entry> all(entries_.get(), count_);
        for (auto at = std::ranges::lower_bound(all, key, {}, &Entry::key);
             at != all.end() && at->key == key; ++at) {
            if (IsSamePartition(*at->node, node)) {
                visit(DevicePathBytes(at->path));
            }
        }
    }

private:
    struct Entry {
        UINT32 key;
        const HARDDRIVE_DEVICE_PATH* node;
        const EFI_DEVICE_PATH_PROTOCOL* path;
    };

    // Equal for the same partition, whatever kind of signature it has.
    static UINT32 KeyOf(const HARDDRIVE_DEVICE_PATH& node) {
        UINT32 key = 0;
        std::memcpy(&key, node.Signature, sizeof(key));
        return key;
    }

    HandleBuffer devices_;
    PoolPtr<Entry> entries_;
    UINTN count_ = 0;
};

// An option of UefiBootOrder with what candidates are compared with.
struct ListedOption {
    enum class Form : UINT8 { Whole, HardDrive, Usb };

    const CachedOption* option; // null: it cannot be read
    Form form;
    bool matched; // it belongs to the candidate that is looked at
    bool taken;
};

// The options of UefiBootOrder, and where they lie.
class ListedOptions {
public:
    // EFI_OUT_OF_RESOURCES.
    EFI_STATUS Read(UefiOptions& options);

    std::span<ListedOption> entries() const { return {entries_.get(), count_}; }
    // Marks the options of a device. Returns whether there are any.
    bool Match(EFI_HANDLE handle, const EFI_DEVICE_PATH_PROTOCOL* path) const;

private:
    // What a path in prefixes_ is to its option.
    enum Kind : UINT16 { kOwnPath, kPartition };

    EFI_STATUS FindPartitions(PoolPtr<PathPrefixes::Path>& paths, UINTN& count);

    PoolPtr<ListedOption> entries_;
    UINTN count_ = 0;
    PoolPtr<PathPrefixes::Path> paths_;
    PathPrefixes prefixes_;
    bool hasHardDriveShortForm_ = false;
    bool hasUsbShortForm_ = false;
};

const HARDDRIVE_DEVICE_PATH* PartitionNodeOf(const ListedOption& listed) {
    return NodeAs<HARDDRIVE_DEVICE_PATH>(listed.option->path(), kDevicePathTypeMedia,
                                         kMediaSubTypeHardDrive);
}

EFI_STATUS ListedOptions::Read(UefiOptions& options) {
    const std::span<const UINT16> numbers = options.numbers();
    entries_ = AllocateZeroPool<ListedOption>(numbers.size());
    if (!entries_) {
        return EFI_OUT_OF_RESOURCES;
    }
    count_ = numbers.size();
    for (UINTN i = 0; i < count_; ++i) {
        ListedOption& listed = entries_[i];
        listed.option = options.cache().Find(numbers[i]);
        if (listed.option == nullptr) {
            continue;
        }
        if (PartitionNodeOf(listed) != nullptr) {
            listed.form = ListedOption::Form::HardDrive;
            hasHardDriveShortForm_ = true;
        } else if (BdsFindUsbShortFormNode(listed.option->path()) != nullptr) {
            listed.form = ListedOption::Form::Usb;
            hasUsbShortForm_ = true;
        }
    }
    UINTN count = 0;
    const EFI_STATUS status = FindPartitions(paths_, count);
    return EFI_ERROR(status) ? status : prefixes_.Build({paths_.get(), count});
}

// The options' own paths, and those of the partitions that hard-drive short forms name.
EFI_STATUS ListedOptions::FindPartitions(PoolPtr<PathPrefixes::Path>& paths, UINTN& count) {
    std::optional<Partitions> partitions;
    if (hasHardDriveShortForm_ && !partitions.emplace().HasMemory()) {
        return EFI_OUT_OF_RESOURCES;
    }
    const auto forEachPath = [&](auto visit) {
        for (UINTN i = 0; i < count_; ++i) {
            const ListedOption& listed = entries_[i];
            const UINT16 owner = static_cast<UINT16>(i);
            if (listed.option != nullptr) {
                visit(PathPrefixes::Path{listed.option->view.devicePath, owner, kOwnPath});
            }
            if (listed.form == ListedOption::Form::HardDrive) {
                partitions->ForEachLike(*PartitionNodeOf(listed), [&](Bytes path) {
                    visit(PathPrefixes::Path{path, owner, kPartition});
                });
            }
        }
    };
    UINTN room = 0;
    forEachPath([&](const PathPrefixes::Path&) { ++room; });
    paths = AllocatePool<PathPrefixes::Path>(room);
    if (!paths) {
        return EFI_OUT_OF_RESOURCES;
    }
    forEachPath([&](const PathPrefixes::Path& path) { paths[count++] = path; });
    return EFI_SUCCESS;
}

EFI_HANDLE UsbDeviceOf(const EFI_DEVICE_PATH_PROTOCOL* path) {
    auto* rest = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path);
    EFI_HANDLE device = nullptr;
    return EFI_ERROR(gBS->LocateDevicePath(&gEfiUsbIoProtocolGuid, &rest, &device)) ? nullptr
                                                                                    : device;
}

bool ListedOptions::Match(EFI_HANDLE handle, const EFI_DEVICE_PATH_PROTOCOL* path) const {
    const Bytes nodes = NodesOf(path);
    if (nodes.empty()) {
        return false;
    }
    bool any = false;
    const auto match = [&](ListedOption& listed) { any = listed.matched = true; };
    // Short forms are told by what they name where there is a block device, by their bytes
    // elsewhere.
    std::optional<bool> asked;
    const auto isBlockDevice = [&] {
        if (!asked) {
            asked = ProtocolOnHandle<EFI_BLOCK_IO_PROTOCOL>(handle) != nullptr;
        }
        return *asked;
    };
    prefixes_.ForEachBeginningWith(nodes, [&](const PathPrefixes::Path& found) {
        ListedOption& listed = entries_[found.owner];
        const bool whole = !isBlockDevice() || listed.form == ListedOption::Form::Whole;
        if (found.kind == kOwnPath ? whole : !whole) {
            match(listed);
        }
    });
    EFI_HANDLE usbDevice = hasUsbShortForm_ && isBlockDevice() ? UsbDeviceOf(path) : nullptr;
    for (UINTN i = 0; usbDevice != nullptr && i < count_; ++i) {
        if (entries_[i].form == ListedOption::Form::Usb &&
            BdsIsUsbShortFormOf(entries_[i].option->path(), usbDevice)) {
            match(entries_[i]);
        }
    }
    return any;
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

// `volumes` are the firmware volumes.
void TakeOptionsOf(EFI_HANDLE handle, std::span<const EFI_HANDLE> volumes,
                   std::span<const UINT16> numbers, const ListedOptions& listed,
                   DefaultOrder& order) {
    const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> shellPath;
    if (std::ranges::find(volumes, handle) != volumes.end()) {
        shellPath = BdsShellPathOf(handle);
        path = shellPath.get();
    }
    if (!listed.Match(handle, path)) {
        return;
    }
    for (UINTN i = 0; i < numbers.size(); ++i) {
        ListedOption& entry = listed.entries()[i];
        if (entry.matched && !entry.taken) {
            order.Take(entry, numbers[i]);
        }
        entry.matched = false;
    }
}

EFI_STATUS TakeOptions(UefiOptions& options, DefaultOrder& order) {
    const RaisedTaskPriority raised(TPL_CALLBACK);
    ListedOptions listed;
    UINTN count = 0;
    PoolPtr<EFI_HANDLE> handles;
    EFI_STATUS status = listed.Read(options);
    if (!EFI_ERROR(status)) {
        status = BdsGetBootCandidateHandles(kUefiBootCandidates, &count, handles.out());
    }
    if (EFI_ERROR(status)) {
        return status;
    }
    HandleBuffer volumes;
    static_cast<void>(volumes.LocateByProtocol(gEfiFirmwareVolume2ProtocolGuid));
    const std::span<const UINT16> numbers = options.numbers();
    for (UINTN i = 0; i < count; ++i) {
        TakeOptionsOf(handles[i], volumes.handles(), numbers, listed, order);
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
    OptionCache options;
    return BdsBuildDefaultUefiBootOrder(options);
}

EFI_STATUS BdsBuildDefaultUefiBootOrder(OptionCache& cache) {
    UefiOptions options(cache);
    if (options.status() == EFI_NOT_FOUND) {
        return cache.orders().Delete(kVariableDefaultUefiBootOrder);
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
    return cache.orders().Write(kVariableDefaultUefiBootOrder, order.numbers());
}

} // namespace kelm
