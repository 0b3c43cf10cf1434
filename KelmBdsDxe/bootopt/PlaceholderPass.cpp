#include "bootopt/PlaceholderPass.h"

#include "bootopt/AutoOption.h"
#include "bootopt/BootType.h"
#include "bootopt/HddPlaceholder.h"
#include "bootopt/OptionDescription.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "strings/Strings.h"
#include "uefi/BlockIo.h"

namespace kelm {

namespace {

bool Qualifies(EFI_HANDLE handle, const EFI_DEVICE_PATH_PROTOCOL* path, BootType type) {
    const auto* blockIo = ProtocolOnHandle<EFI_BLOCK_IO_PROTOCOL>(handle);
    return blockIo != nullptr && !blockIo->Media->RemovableMedia &&
           (type == BootType::Scsi || type == BootType::MessagingVendor ||
            type == BootType::MessagingOther) &&
           BdsIsPlaceholderDisk(path);
}

DescriptionText Describe(const EFI_DEVICE_PATH_PROTOCOL* path) {
    DescriptionText text;
    const CHAR16* name = BdsStringText(kStringRaidDiskPlaceholder);
    if (const auto* scsi = NodeAs<SCSI_DEVICE_PATH>(LastNode(path), kDevicePathTypeMessaging,
                                                    kMessagingSubTypeScsi)) {
        FormatUcs2(text, u"%s - Disk %d", name, scsi->Pun);
    } else {
        FormatUcs2(text, u"%s %d", name, BdsGetPlaceholderNumber());
    }
    return text;
}

// The handle that owns a path; null when there is none.
EFI_HANDLE OwnerOf(const EFI_DEVICE_PATH_PROTOCOL* path) {
    auto* rest = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path);
    EFI_HANDLE handle = nullptr;
    const EFI_STATUS status = gBS->LocateDevicePath(&gEfiDevicePathProtocolGuid, &rest, &handle);
    return EFI_ERROR(status) || !IsEndNode(rest) ? nullptr : handle;
}

void CreatePlaceholder(UefiOptions& options, EFI_HANDLE candidate,
                       const EFI_DEVICE_PATH_PROTOCOL* path, NewOptions& created) {
    const DescriptionText description = Describe(path);
    DebugPrint(kDebugInfo, "  Created Placeholder %s\n", description.data());
    EFI_HANDLE owner = OwnerOf(path);
    UINT16 number = 0;
    const EFI_STATUS status = BdsCreateBootOptionForHandle(
        options, owner == nullptr ? candidate : owner, description.data(), &number);
    if (status == EFI_SUCCESS) {
        created.Record(number);
    }
}

void HandleCandidate(UefiOptions& options, EFI_HANDLE handle, UINTN index, bool diskGotOption,
                     NewOptions& created) {
    const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
    const PoolPtr<CHAR16> text = DevicePathText(path);
    const BootType type = BdsGetBootType(path);
    DebugPrint(kDebugInfo, "%x:DevicePath:%s\n", index, text.get());
    DebugPrint(kDebugInfo, "   type:%x\n", type);
    if (!Qualifies(handle, path, type)) {
        return;
    }
    const ChildBootOption child = BdsFindChildBootOption(options, path, {});
    if (!child.found && !diskGotOption) {
        if (!child.self) {
            CreatePlaceholder(options, handle, path, created);
        }
    } else if (child.self && BdsReplacePlaceholder(options, path, {})) {
        DebugPrint(kDebugInfo, "Remove PlaceHolder for device:%s\n", text.get());
    }
}

} // namespace

void BdsCreateHddPlaceholders(UefiOptions& options, std::span<const EFI_HANDLE> candidates,
                              bool diskGotOption, NewOptions& created) {
    if (!options.settings.hddPlaceholder) {
        return;
    }
    for (UINTN i = 0; i < candidates.size(); ++i) {
        HandleCandidate(options, candidates[i], i, diskGotOption, created);
    }
}

} // namespace kelm
