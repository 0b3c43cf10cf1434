#include "bootopt/StaleOptions.h"

#include "boot/RemovableMedia.h"
#include "bootopt/BootType.h"
#include "bootopt/DuplicateOption.h"
#include "bootopt/GenericUsb.h"
#include "bootopt/HddPlaceholder.h"
#include "bootopt/OptionDescription.h"
#include "bootopt/PartitionNode.h"
#include "bootopt/UsbStorage.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "network/BootDevicePlaceholders.h"
#include "network/NetworkDevices.h"
#include "platform/Connect.h"
#include "strings/Strings.h"
#include "uefi/BlockIo.h"
#include "uefi/SimpleFileSystem.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace kelm {

namespace {

// The deepest handle with the protocol on the way of a path, and whether the path ends there.
struct OnPath {
    EFI_HANDLE handle = nullptr;
    bool isWholePath = false;

    explicit operator bool() const { return handle != nullptr; }
};
OnPath FindOnPath(const EFI_DEVICE_PATH_PROTOCOL* path, const EFI_GUID& protocol) {
    auto* rest = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path);
    OnPath found;
    if (EFI_ERROR(gBS->LocateDevicePath(&protocol, &rest, &found.handle))) {
        return {};
    }
    found.isWholePath = IsEndNode(rest);
    return found;
}

bool IsFilePath(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const EFI_DEVICE_PATH_PROTOCOL* last = LastNode(path);
    return last != nullptr && IsNode(last, kDevicePathTypeMedia, kMediaSubTypeFilePath);
}

bool IsPresentPlaceholderDisk(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const EFI_DEVICE_PATH_PROTOCOL* last = LastNode(path);
    return last != nullptr &&
           (IsNode(last, kDevicePathTypeMessaging, kMessagingSubTypeScsi) ||
            IsNode(last, kDevicePathTypeMessaging, kMessagingSubTypeNvmeNamespace)) &&
           BdsIsPlaceholderDisk(path) && FindOnPath(path, gEfiBlockIoProtocolGuid);
}

bool IsMediumBootable(const EFI_DEVICE_PATH_PROTOCOL* path, bool checkMedia) {
    return !checkMedia || BdsFindRemovableMediaFileSystem(path) != nullptr;
}

// Whether the description is the one that the device would get today.
bool FitsRemovableDevice(const DeviceNames& names, EFI_HANDLE device,
                         const EFI_DEVICE_PATH_PROTOCOL* path, UINT32 blockSize,
                         std::u16string_view description) {
    const BootType type = BdsGetBootType(path);
    const PoolPtr<CHAR16> reported = names.Find(device);
    std::u16string_view name = Ucs2View(reported.get());
    if (type == BootType::Usb && BdsIsExcludedUsbDevice(name)) {
        return false;
    }
    if (!name.empty() && type != BootType::Sata) {
        return description == name.substr(0, kDescriptionRoom - 1);
    }
    const auto generic = GenericNameOf(type, blockSize);
    return generic && BeginsWithGenericName(description, generic->string);
}

// ---- The pass over UefiBootOrder

// Examines the entries of the order as it was, while the order itself is edited slot by slot: an
// entry is taken out of its slot, or put into the slot of another one.
class StalePass {
public:
    StalePass(UefiOptions& options, const DeviceNames& names) : options_(options), names_(names) {}

    EFI_STATUS Run();

private:
    static constexpr UINTN kNoSlot = ~UINTN(0);

    void Examine(UINTN entry);
    bool DeleteIfStale(UINTN entry, const CachedOption* option);
    bool DeleteIfDuplicate(UINTN entry, const CachedOption& option);
    std::optional<UINTN> FindReplacement(UINTN entry, const CachedOption& option);
    void ForgetPlaceholderNumber();
    // Deletes the option and frees its slot, or gives it to the option in another slot.
    void Delete(UINTN entry, std::optional<UINTN> successorSlot);
    UINTN EntryOf(UINT16 number) const;

    UefiOptions& options_;
    const DeviceNames& names_;
    PoolPtr<UINT16> entries_; // the numbers as they were
    PoolPtr<UINTN> slots_;    // of each entry: where it stands now
    UINTN count_ = 0;
    bool changed_ = false; // the order
    bool placeholderNumberForgotten_ = false;
};

EFI_STATUS StalePass::Run() {
    if (EFI_ERROR(options_.status())) {
        return options_.status();
    }
    const std::span<const UINT16> order = options_.numbers();
    count_ = order.size();
    entries_ = AllocateCopyPool(order.size_bytes(), order.data());
    slots_ = AllocatePool<UINTN>(count_);
    if (!entries_ || !slots_) {
        return EFI_OUT_OF_RESOURCES;
    }
    for (UINTN i = 0; i < count_; ++i) {
        slots_[i] = i;
        if (EFI_ERROR(options_.cache().Status(entries_[i]))) {
            return EFI_OUT_OF_RESOURCES; // nothing has been touched yet
        }
    }
    for (UINTN i = 0; i < count_; ++i) {
        Examine(i);
    }
    if (!changed_) {
        return EFI_SUCCESS;
    }
    const std::span<const UINTN> slots(slots_.get(), count_);
    options_.Retain([slots](UINTN slot) { return std::ranges::find(slots, slot) != slots.end(); });
    return options_.Write();
}

void StalePass::Examine(UINTN entry) {
    const CachedOption* option = options_.cache().Find(entries_[entry]);
    if (option == nullptr || !option->IsEnumerated() || !options_.settings.hddPlaceholder) {
        ForgetPlaceholderNumber();
    }
    if (DeleteIfStale(entry, option) || !option->IsEnumerated() ||
        DeleteIfDuplicate(entry, *option)) {
        return;
    }
    if (options_.settings.genericUsbDisabled &&
        DevicePathsEqual(option->path(), BdsGenericUsbBootPath())) {
        // The entry stays: dangling ones go with the next sanity check.
        static_cast<void>(options_.cache().Delete(entries_[entry]));
        return;
    }
    if (const auto replacement = FindReplacement(entry, *option)) {
        // The option of a disk's own boot file comes back with every enumeration: an operating
        // system that already stands before it must not be moved back each time.
        const bool takesPlace = *replacement > slots_[entry] ||
                                BdsIsHddPlaceholderOption(options_.cache(), entries_[entry]);
        Delete(entry, takesPlace ? replacement : std::nullopt);
    }
}

bool StalePass::DeleteIfStale(UINTN entry, const CachedOption* option) {
    if (option == nullptr) { // malformed, or deleted under an earlier entry
        Delete(entry, {});
        return true;
    }
    if (!option->IsEnumerated() ||
        BdsIsAutoOptionStillValid(options_.settings, names_, option->path(), false,
                                  option->description())) {
        return false;
    }
    const auto duplicate =
        BdsIsDuplicateBootOption(options_, option->path(), option->description());
    Delete(entry, duplicate ? duplicate : FindReplacement(entry, *option));
    return true;
}

bool StalePass::DeleteIfDuplicate(UINTN entry, const CachedOption& option) {
    if (changed_ || !options_.settings.fixedDiskOnly ||
        FindPartitionNode(option.path()) == nullptr) {
        return false;
    }
    const auto duplicate = BdsIsDuplicateBootOption(options_, option.path(), option.description());
    if (duplicate) {
        Delete(entry, options_.settings.hddPlaceholder ? duplicate : std::nullopt);
    }
    return duplicate.has_value();
}

// The slot of an option behind this one on its disk: an operating system came, and gets the place
// that was held for it.
std::optional<UINTN> StalePass::FindReplacement(UINTN entry, const CachedOption& option) {
    if (!options_.settings.hddPlaceholder || !BdsIsPlaceholderDisk(option.path())) {
        return {};
    }
    const ChildBootOption child = BdsFindChildBootOption(options_, option.path(), entries_[entry]);
    return child.found ? std::optional(child.index) : std::nullopt;
}

void StalePass::ForgetPlaceholderNumber() {
    if (!std::exchange(placeholderNumberForgotten_, true)) {
        BdsForgetPlaceholderNumber();
    }
}

void StalePass::Delete(UINTN entry, std::optional<UINTN> successorSlot) {
    static_cast<void>(options_.cache().Delete(entries_[entry]));
    const UINTN slot = std::exchange(slots_[entry], kNoSlot);
    changed_ = true;
    if (!successorSlot || slot == kNoSlot) {
        return;
    }
    const UINT16 successor = options_.numbers()[*successorSlot];
    const UINTN successorEntry = EntryOf(successor);
    if (slots_[successorEntry] == successorEntry) { // else it has been given a place before
        options_.Replace(slot, successor);
        slots_[successorEntry] = slot;
    }
}

// The entry of a number that stands in the order.
UINTN StalePass::EntryOf(UINT16 number) const {
    const std::span<const UINT16> entries(entries_.get(), count_);
    return UINTN(std::ranges::find(entries, number) - entries.begin());
}

} // namespace

bool BdsIsAutoOptionStillValid(const EnumerationSettings& settings, const DeviceNames& names,
                               const EFI_DEVICE_PATH_PROTOCOL* path, bool checkMedia,
                               const CHAR16* description) {
    if (BdsIsNetworkPlaceholder(path)) {
        return IsNetworkDeviceEnabled(path);
    }
    if (IsFilePath(path) || (settings.hddPlaceholder && IsPresentPlaceholderDisk(path))) {
        return true;
    }
    OnPath device = FindOnPath(path, gEfiBlockIoProtocolGuid);
    if (!device) {
        static_cast<void>(BdsConnectDevicePath(path));
        device = FindOnPath(path, gEfiBlockIoProtocolGuid);
    }
    if (!device) {
        return FindOnPath(path, gEfiSimpleFileSystemProtocolGuid)
                   ? IsMediumBootable(path, checkMedia)
                   : DevicePathsEqual(path, BdsGenericUsbBootPath());
    }
    const auto* blockIo = ProtocolOnHandle<EFI_BLOCK_IO_PROTOCOL>(device.handle);
    if (blockIo == nullptr) {
        return false;
    }
    const EFI_BLOCK_IO_MEDIA& medium = *blockIo->Media;
    const std::u16string_view text = Ucs2View(description);
    const bool fits = medium.RemovableMedia
                          ? FitsRemovableDevice(names, device.handle, path, medium.BlockSize, text)
                          : device.isWholePath && BeginsWithGenericName(text, kStringFixedDisk);
    return fits && IsMediumBootable(path, checkMedia);
}

EFI_STATUS BdsDeleteInvalidUefiBootOptions(UefiOptions& options, const DeviceNames& names) {
    return StalePass(options, names).Run();
}

} // namespace kelm
