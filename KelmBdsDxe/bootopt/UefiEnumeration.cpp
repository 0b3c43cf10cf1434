#include "bootopt/UefiEnumeration.h"

#include "boot/RemovableMedia.h"
#include "bootopt/AutoOption.h"
#include "bootopt/BootType.h"
#include "bootopt/CandidateHandles.h"
#include "bootopt/DuplicateOption.h"
#include "bootopt/FqddOrder.h"
#include "bootopt/FqddSettings.h"
#include "bootopt/GenericUsb.h"
#include "bootopt/HddPlaceholder.h"
#include "bootopt/NewOptions.h"
#include "bootopt/OptionDescription.h"
#include "bootopt/PlaceholderPass.h"
#include "bootopt/StaleOptions.h"
#include "bootopt/UsbStorage.h"
#include "core/PlatformPolicy.h"
#include "kelm/AttributeNames.h"
#include "kelm/PlaceholderGuids.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "library/firmware/TaskPriority.h"
#include "library/pure/Ucs2.h"
#include "network/IscsiDisks.h"
#include "network/NetworkDescription.h"
#include "network/NetworkDevices.h"
#include "network/NvmeofDisks.h"
#include "strings/Strings.h"
#include "uefi/BlockIo.h"
#include "uefi/FirmwareVolume2.h"
#include "uefi/SimpleFileSystem.h"

namespace kelm {

namespace {

constexpr CHAR16 kGenericUsbDescription[] = u"USB Placeholder";

bool HasProtocol(EFI_HANDLE handle, const EFI_GUID& protocol) {
    void* interface = nullptr;
    return !EFI_ERROR(gBS->HandleProtocol(handle, &protocol, &interface));
}

bool IsNvmeofDisk(const EFI_DEVICE_PATH_PROTOCOL* path) {
    for (UINT8 slot = 1; slot <= kNvmeofSlots; ++slot) {
        if (BdsIsNvmeofSubsystemDevicePath(path, slot)) {
            return true;
        }
    }
    return false;
}

// A disk that the network gives is booted through its network boot device.
bool IsNetworkDisk(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const bool iscsi = IsIscsiBootDiskPath(path);
    const bool nvmeof = IsNvmeofDisk(path);
    if (DebugLevelEnabled(kDebugBds)) {
        const PoolPtr<CHAR16> text = DevicePathText(path);
        DebugPrint(kDebugBds, "  Check FileSystems:%s\n", text.get());
        DebugPrint(kDebugBds, "  Is IscsiDevice: %d, Is NvmeofDevice: %d\n", iscsi, nvmeof);
    }
    return iscsi || nvmeof;
}

// One enumeration: the options of the candidates, one after the other.
class Enumeration {
public:
    Enumeration(UefiOptions& options, const DeviceNames& names, NewOptions& created)
        : options_(options), names_(names), created_(created) {}

    void Handle(EFI_HANDLE handle);
    // An option was made for a disk that may have a placeholder.
    bool placeholderDiskGotOption() const { return placeholderDiskGotOption_; }

private:
    void HandleRemovable(EFI_HANDLE handle, const EFI_DEVICE_PATH_PROTOCOL* path, UINT32 blockSize);
    void HandleFileSystem(EFI_HANDLE handle, const EFI_DEVICE_PATH_PROTOCOL* path,
                          bool onFixedDisk);
    void HandleNetworkDevice(EFI_HANDLE handle, const EFI_DEVICE_PATH_PROTOCOL* path);
    void CreateAndRecord(EFI_HANDLE handle, const CHAR16* description);

    UefiOptions& options_;
    const DeviceNames& names_;
    NewOptions& created_;
    GenericDescriptions descriptions_;
    bool placeholderDiskGotOption_ = false;
};

void Enumeration::Handle(EFI_HANDLE handle) {
    const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
    const auto* blockIo = ProtocolOnHandle<EFI_BLOCK_IO_PROTOCOL>(handle);
    if (blockIo != nullptr && blockIo->Media->RemovableMedia) {
        HandleRemovable(handle, path, blockIo->Media->BlockSize);
    } else if (HasProtocol(handle, gEfiSimpleFileSystemProtocolGuid)) {
        HandleFileSystem(handle, path, blockIo != nullptr);
    } else if (HasProtocol(handle, gKelmNetworkBootDeviceMarkerGuid)) {
        HandleNetworkDevice(handle, path);
    } else if (HasProtocol(handle, gEfiFirmwareVolume2ProtocolGuid)) {
        UINT16 number = 0;
        if (BdsCreateSystemUefiShellOption(options_, handle, &number) == EFI_SUCCESS) {
            created_.Record(number);
        }
    } else if (DevicePathsEqual(path, BdsGenericUsbBootPath())) {
        CreateAndRecord(handle, kGenericUsbDescription);
    }
}

void Enumeration::HandleRemovable(EFI_HANDLE handle, const EFI_DEVICE_PATH_PROTOCOL* path,
                                  UINT32 blockSize) {
    const BootType type = BdsGetBootType(path);
    const auto generic = GenericNameOf(type, blockSize);
    if (!generic) {
        return;
    }
    const PoolPtr<CHAR16> reported = names_.Find(handle);
    const std::u16string_view name = Ucs2View(reported.get());
    if (type == BootType::Usb && BdsIsExcludedUsbDevice(name)) {
        return;
    }
    DescriptionText description;
    descriptions_.Make(*generic, description);
    if (!name.empty() && type != BootType::Sata) {
        static_cast<void>(Ucs2Copy(description, name));
    }
    if (type == BootType::Atapi || type == BootType::Sata) {
        DebugPrint(kDebugBdsInfo, "Buffer: %S\n", description.data());
    }
    CreateAndRecord(handle, description.data());
}

void Enumeration::HandleFileSystem(EFI_HANDLE handle, const EFI_DEVICE_PATH_PROTOCOL* path,
                                   bool onFixedDisk) {
    if (IsNetworkDisk(path)) {
        return;
    }
    if (!BdsHasBootableFallbackFile(handle)) {
        static_cast<void>(BdsDeleteBootOptionForHandle(options_, handle));
        return;
    }
    DescriptionText description;
    descriptions_.Make({onFixedDisk ? kStringFixedDisk : kStringNonBlockBootDevice, true},
                       description);
    if (path == nullptr || BdsIsDuplicateBootOption(options_, path, description.data())) {
        return;
    }
    UINT16 number = 0;
    if (BdsCreateBootOptionForHandle(options_, handle, description.data(), &number) !=
        EFI_SUCCESS) {
        return;
    }
    const bool placeholders = options_.settings.hddPlaceholder;
    if (placeholders && BdsReplacePlaceholder(options_, path, number)) {
        return;
    }
    created_.Record(number);
    if (placeholders && BdsIsPlaceholderDisk(path)) {
        placeholderDiskGotOption_ = true;
    }
}

void Enumeration::HandleNetworkDevice(EFI_HANDLE handle, const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (path == nullptr || !IsNetworkDeviceEnabled(path)) {
        return;
    }
    const PoolPtr<CHAR16> text = BdsDescribeNetworkDevice(path);
    if (text) {
        DescriptionText description;
        static_cast<void>(Ucs2Copy(description, Ucs2View(text.get())));
        CreateAndRecord(handle, description.data());
    }
}

void Enumeration::CreateAndRecord(EFI_HANDLE handle, const CHAR16* description) {
    UINT16 number = 0;
    if (BdsCreateBootOptionForHandle(options_, handle, description, &number) == EFI_SUCCESS) {
        created_.Record(number);
    }
}

// Walks the candidates with their devices held still.
EFI_STATUS EnumerateCandidates(UefiOptions& options, const DeviceNames& names,
                               std::optional<NewOptions>& created) {
    const RaisedTaskPriority raised(TPL_CALLBACK);
    UINTN count = 0;
    PoolPtr<EFI_HANDLE> handles;
    const EFI_STATUS status =
        BdsGetBootCandidateHandles(kUefiBootCandidates, &count, handles.out());
    if (EFI_ERROR(status) || count == 0) {
        return status;
    }
    created.emplace(count);
    if (!created->HasMemory()) {
        return EFI_OUT_OF_RESOURCES;
    }
    Enumeration enumeration(options, names, *created);
    for (UINTN i = 0; i < count; ++i) {
        DebugPrint(kDebugBds, "BdsEnumerateUefiBootOptions - Handling index: %d\n", i);
        enumeration.Handle(handles[i]);
    }
    BdsCreateHddPlaceholders(options, {handles.get(), count},
                             enumeration.placeholderDiskGotOption(), *created);
    return EFI_SUCCESS;
}

// The new options as the settings DefaultBootOrderFqdd1 to 16 place them.
EFI_STATUS OrderNewOptions(UefiOptions& options, const FqddSettings& settings,
                           std::span<const UINT16> created, FqddOrderedList& ordered) {
    FqddTexts texts(options.cache(), kFqddOfOption);
    const EFI_STATUS status = settings.ForEachList(
        [&](const CHAR16* list) { return ordered.OrderBy(list, created, texts); });
    return EFI_ERROR(status) ? status : ordered.AppendRemaining(created);
}

bool IsFrontBackFirst() {
    auto* policy = BdsPlatformPolicy();
    return policy != nullptr && policy->IsFrontBackUsbFirst(policy, kPolicyUefiBootOrder) == 1;
}

// One write, however many options are new.
EFI_STATUS AddToOrder(UefiOptions& options, std::span<const UINT16> ordered, bool frontBackFirst) {
    EFI_STATUS last = EFI_SUCCESS;
    for (const UINT16 number : ordered) {
        last = options.Append(number);
        if (frontBackFirst && BdsIsFrontBackUsbDisk(options.cache(), number)) {
            options.MoveToFront(number);
        }
        if (options.settings.hddPlaceholderOnTop &&
            BdsIsHddPlaceholderOption(options.cache(), number)) {
            DebugPrint(kDebugInfo, "Moving HDD PlaceHolder to top of bootOrder\n");
            options.MoveToFront(number);
        }
    }
    const EFI_STATUS written = options.Write();
    return EFI_ERROR(written) ? written : last;
}

} // namespace

EFI_STATUS BdsEnumerateUefiBootOptions() {
    const bool frontBackFirst = IsFrontBackFirst();
    OptionCache cache;
    UefiOptions options(cache);
    const DeviceNames names;
    static_cast<void>(BdsDeleteInvalidUefiBootOptions(options, names));
    std::optional<NewOptions> created;
    const EFI_STATUS status = EnumerateCandidates(options, names, created);
    if (EFI_ERROR(status) || !created || created->numbers().empty()) {
        return status;
    }
    const FqddSettings settings(kAttributeDefaultBootOrderFqdd, kFqddAttributeCount);
    if (!settings.HasLists()) {
        return AddToOrder(options, created->numbers(), frontBackFirst);
    }
    FqddOrderedList ordered;
    if (EFI_ERROR(OrderNewOptions(options, settings, created->numbers(), ordered))) {
        return EFI_OUT_OF_RESOURCES;
    }
    return AddToOrder(options, ordered.numbers(), frontBackFirst);
}

} // namespace kelm
