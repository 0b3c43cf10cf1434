#include "bootopt/DuplicateOption.h"

#include "boot/UsbShortForm.h"
#include "bootopt/DeviceLocation.h"
#include "bootopt/HddPlaceholder.h"
#include "bootopt/PartitionNode.h"
#include "bootopt/ShortFormPath.h"
#include "bootopt/UsbStorage.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"

namespace kelm {

namespace {

constexpr std::u16string_view kWindowsToGo = u"USB Entry for Windows To Go";

// An option that names its USB device by what the device is.
bool IsWindowsToGoEntryOf(const CachedOption& option, const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (!option.view.description.Equals(kWindowsToGo)) {
        return false;
    }
    EFI_HANDLE device = BdsFindUsbDevice(option.path());
    const auto* devicePath =
        device == nullptr ? nullptr : ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(device);
    return devicePath != nullptr && DevicePathStartsWith(path, devicePath);
}

bool IsOperatingSystemOnPlaceholderDisk(const CachedOption& option,
                                        const HARDDRIVE_DEVICE_PATH& partition) {
    if (option.IsEnumerated()) {
        return false;
    }
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> disk = BdsExpandHddShortFormPath(&partition.Header);
    return disk && BdsIsPlaceholderDisk(disk.get());
}

bool IsDuplicate(const CachedOption& option, const EFI_DEVICE_PATH_PROTOCOL* path,
                 bool onPlaceholderDisk, const CHAR16* description) {
    bool hit = false;
    if (IsWindowsToGoEntryOf(option, path)) {
        DebugPrint(kDebugInfo, "W2G found! USB: %s Duplicate\n", description);
        hit = true;
    }
    const HARDDRIVE_DEVICE_PATH* partition = FindPartitionNode(option.path());
    if (partition == nullptr) {
        return hit;
    }
    const HARDDRIVE_DEVICE_PATH* own = FindPartitionNode(path);
    if (own != nullptr && IsSamePartition(*own, *partition) &&
        !option.view.description.Equals(Ucs2View(description))) {
        DebugPrint(kDebugBdsInfo, "HDD: %s Duplicate.\n", description);
        hit = true;
    }
    return hit || (onPlaceholderDisk && IsOperatingSystemOnPlaceholderDisk(option, *partition));
}

} // namespace

std::optional<UINTN> BdsIsDuplicateBootOption(UefiOptions& options,
                                              const EFI_DEVICE_PATH_PROTOCOL* path,
                                              const CHAR16* description) {
    if (!options.settings.fixedDiskOnly) {
        return {};
    }
    // Asked first: to look for the disk of a partition may connect the whole system.
    const bool onPlaceholderDisk = options.settings.hddPlaceholder && BdsIsPlaceholderDisk(path);
    std::optional<UINTN> last;
    const std::span<const UINT16> order = options.numbers();
    for (UINTN i = 0; i < order.size(); ++i) {
        const CachedOption* option = options.cache().Find(order[i]);
        if (option != nullptr && IsDuplicate(*option, path, onPlaceholderDisk, description)) {
            last = i;
        }
    }
    if (last) {
        DebugPrint(kDebugInfo, "[HDD Duplicate]:%s,Duplicate with Index:%d\n", description, *last);
    }
    return last;
}

bool BdsIsFrontBackUsbDisk(OptionCache& options, UINT16 number) {
    const CachedOption* option = options.Find(number);
    if (option == nullptr || BdsGetUsbStorageKind(option->path()) != UsbStorageKind::Disk) {
        return false;
    }
    const PoolPtr<CHAR16> location = BdsGetDeviceLocationText(option->path());
    const std::u16string_view text = Ucs2View(location.get());
    return Ucs2Find(text, u"back") != kNotFound || Ucs2Find(text, u"front") != kNotFound;
}

} // namespace kelm
