#include "bootopt/HddPlaceholder.h"

#include "bootopt/DeviceLocation.h"
#include "bootopt/ShortFormPath.h"
#include "bootopt/VariableHelpers.h"
#include "kelm/Variables.h"
#include "library/firmware/Protocol.h"
#include "library/pure/DevicePath.h"
#include "library/pure/Ucs2.h"
#include "strings/Strings.h"
#include "uefi/PciIo.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kelm {

namespace {

constexpr std::array<std::u16string_view, 4> kRaidPrefixes = {u"RAID.Integrated.", u"RAID.Slot.",
                                                              u"RAID.SL.", u"RAID.Mezzanine."};
constexpr std::array<std::u16string_view, 3> kCardPrefixes = {u"AHCI.Slot.", u"AHCI.SL.", u"MOTA."};

struct PciIdentity {
    UINT16 vendorId;
    UINT16 deviceId;
};
constexpr PciIdentity kBootStorageCards[] = {{0x1B4B, 0x9230}, {0x1B4B, 0x2241}};

bool BeginsWithAny(std::u16string_view text, std::span<const std::u16string_view> prefixes) {
    return std::ranges::any_of(
        prefixes, [&](std::u16string_view prefix) { return text.starts_with(prefix); });
}

const CHAR8* TrueOrFalse(bool value) {
    return value ? "TRUE" : "FALSE";
}

bool IsBehindBootStorageCard(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> full = BdsExpandHddShortFormPath(path);
    auto* rest = full ? full.get() : const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path);
    EFI_HANDLE device = nullptr;
    if (EFI_ERROR(gBS->LocateDevicePath(&gEfiPciIoProtocolGuid, &rest, &device))) {
        return false;
    }
    auto* pci = ProtocolOnHandle<EFI_PCI_IO_PROTOCOL>(device);
    PciIdentity identity{};
    return pci != nullptr &&
           !EFI_ERROR(pci->Pci.Read(pci, EfiPciIoWidthUint16, PCI_VENDOR_ID_OFFSET, 1,
                                    &identity.vendorId)) &&
           !EFI_ERROR(pci->Pci.Read(pci, EfiPciIoWidthUint16, PCI_DEVICE_ID_OFFSET, 1,
                                    &identity.deviceId)) &&
           IsKelmMotaCardVidDid(identity.vendorId, identity.deviceId);
}

bool IsNamedPlaceholder(const CachedOption& option) {
    return Ucs2View(option.description()).starts_with(BdsStringText(kStringRaidDiskPlaceholder));
}

// A placeholder for the disk: enumeration made it, and its path ends in a SCSI node.
bool IsPlaceholderOf(const CachedOption& option, const EFI_DEVICE_PATH_PROTOCOL* path) {
    const EFI_DEVICE_PATH_PROTOCOL* last = LastNode(option.path());
    return option.IsEnumerated() && IsNamedPlaceholder(option) && last != nullptr &&
           IsNode(last, kDevicePathTypeMessaging, kMessagingSubTypeScsi) &&
           DevicePathStartsWith(path, option.path());
}

} // namespace

bool IsKelmMotaCardVidDid(UINT16 vendorId, UINT16 deviceId) {
    const bool found = std::ranges::any_of(kBootStorageCards, [&](const PciIdentity& card) {
        return card.vendorId == vendorId && card.deviceId == deviceId;
    });
    if (found) {
        DebugPrint(kDebugInfo, "[IsKelmMotaCardVidDid]: Found VID/DID: 0x%x/0x%x.\n", vendorId,
                   deviceId);
    }
    return found;
}

bool BdsIsPlaceholderDisk(const EFI_DEVICE_PATH_PROTOCOL* path) {
    PoolPtr<CHAR16> text;
    if (EFI_ERROR(BdsGetDeviceLocation(path, nullptr, &text))) {
        return false;
    }
    const std::u16string_view fqdd = Ucs2View(text.get());
    const bool placeholder = BeginsWithAny(fqdd, kRaidPrefixes) ||
                             (BeginsWithAny(fqdd, kCardPrefixes) && IsBehindBootStorageCard(path));
    DebugPrint(kDebugInfo, "[IsHdd PlaceHolder?]%s:%a\n", fqdd, TrueOrFalse(placeholder));
    return placeholder;
}

UINT8 BdsGetPlaceholderNumber() {
    const KelmVariable& variable = kVariablePlaceholderNumber;
    UINTN size = 0;
    const PoolPtr<UINT8> stored = BdsReadVariable(variable.name, variable.guid, &size);
    UINT8 number = 0;
    if (stored) {
        number = static_cast<UINT8>(stored[0] + 1);
        if (number == 0) {
            number = 1;
        }
    }
    const EFI_STATUS status = gRT->SetVariable(const_cast<CHAR16*>(variable.name), variable.guid,
                                               variable.attributes, sizeof(number), &number);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugError, "Get PlaceHolderNum Variable, Status:%r\n", status);
    }
    return number;
}

void BdsForgetPlaceholderNumber() {
    static_cast<void>(
        BdsDeleteVariable(kVariablePlaceholderNumber.name, kVariablePlaceholderNumber.guid));
}

bool BdsIsHddPlaceholderOption(OptionCache& options, UINT16 number) {
    const CachedOption* option = options.Find(number);
    return option != nullptr && IsNamedPlaceholder(*option);
}

ChildBootOption BdsFindChildBootOption(UefiOptions& options, const EFI_DEVICE_PATH_PROTOCOL* disk,
                                       std::optional<UINT16> skip) {
    ChildBootOption child;
    const UINTN diskSize = DevicePathSize(disk);
    const std::span<const UINT16> order = options.numbers();
    for (UINTN i = 0; i < order.size(); ++i) {
        if (order[i] == skip) {
            continue;
        }
        const EFI_DEVICE_PATH_PROTOCOL* path = options.FullPath(order[i]);
        if (path == nullptr || !DevicePathStartsWith(path, disk)) {
            continue;
        }
        if (DevicePathSize(path) == diskSize) {
            child.self = true;
        } else {
            child.found = true;
            child.index = i;
        }
    }
    DebugPrint(kDebugInfo, "[ChildInBootOption]Found:%a,Match:%d,Self:%a \n",
               TrueOrFalse(child.found), child.index, TrueOrFalse(child.self));
    return child;
}

bool BdsReplacePlaceholder(UefiOptions& options, const EFI_DEVICE_PATH_PROTOCOL* path,
                           std::optional<UINT16> newNumber) {
    bool replaced = false;
    for (UINTN i = 0; i < options.numbers().size();) {
        const UINT16 number = options.numbers()[i];
        const CachedOption* option = options.cache().Find(number);
        if (option == nullptr || !IsPlaceholderOf(*option, path)) {
            ++i;
            continue;
        }
        DebugPrint(kDebugInfo, "Replace PlaceHolder :%s\n", MakeBootOptionName(number).data());
        static_cast<void>(options.cache().Delete(number));
        // The first place goes to the new option; there is nothing to stand in any other.
        if (newNumber && !replaced) {
            options.Replace(i++, *newNumber);
        } else {
            options.Retain([i](UINTN entry) { return entry != i; });
        }
        replaced = true;
    }
    if (replaced) {
        static_cast<void>(options.Write());
    }
    return replaced;
}

} // namespace kelm
