#include "network/NetworkDescription.h"

#include "bootopt/DeviceLocation.h"
#include "bootopt/VendorPath.h"
#include "kelm/AttributeNames.h"
#include "kelm/DeviceLocationProtocol.h"
#include "kelm/PlaceholderGuids.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "network/IscsiDisks.h"
#include "network/NetworkDevices.h"
#include "network/NvmeofDisks.h"

#include <array>

namespace kelm {

namespace {

constexpr CHAR16 kUnavailable[] = u"<Unavailable>";
constexpr CHAR16 kNotConnected[] = u"<Not Connected>";
constexpr UINTN kSettingNameRoom = 64;

const NetworkBootPlaceholder* FindPlaceholder(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const auto* vendor =
        NodeAs<VENDOR_DEVICE_PATH>(path, kDevicePathTypeHardware, kHardwareSubTypeVendor);
    if (vendor == nullptr) {
        return nullptr;
    }
    for (const NetworkBootPlaceholder& placeholder : kNetworkBootPlaceholders) {
        if (vendor->Guid == *placeholder.guid) {
            return &placeholder;
        }
    }
    return nullptr;
}

PoolPtr<CHAR16> TextOr(PoolPtr<CHAR16> text, const CHAR16* fallback) {
    if (text && text[0] != u'\0') {
        return text;
    }
    return AllocateCopyPool(Ucs2Size(fallback), fallback);
}

// What the location service calls the port, present or not.
PoolPtr<CHAR16> DescribeInterface(const NetworkBootPlaceholder& placeholder) {
    std::array<CHAR16, kSettingNameRoom> setting;
    FormatUcs2(setting, u"%s%s", placeholder.prefix, kAttributeSuffixInterface);
    PoolPtr<CHAR16> fqdd;
    KelmDeviceLocationProtocol* locations = nullptr;
    if (EFI_ERROR(BdsGetUefiNetworkNicAttributeFqdd(setting.data(), fqdd.out())) || !fqdd ||
        EFI_ERROR(BdsLocateDeviceLocation(locations))) {
        return {};
    }
    PoolPtr<CHAR16> description;
    PoolPtr<CHAR16> detail;
    const EFI_STATUS status = locations->GetBootDescription(
        locations, fqdd.get(), kDeviceLocationLanguage, description.out(), detail.out());
    if (EFI_ERROR(status)) {
        description.reset();
    }
    return description;
}

PoolPtr<CHAR16> DescribeNvmeof(const EFI_DEVICE_PATH_PROTOCOL* path, UINT8 slot) {
    const PoolPtr<CHAR16> pathText = DevicePathText(path);
    DebugPrint(kDebugBds, "Handling NVMeOF DevicePath: %s\n", pathText.get());
    std::array<CHAR16, kSettingNameRoom> setting;
    FormatUcs2(setting, u"%s%d%s%s", kAttributeNvmeofSubsys, slot, kAttributeNvmeofConnection,
               kAttributeSuffixInterface);
    EFI_HANDLE port = nullptr;
    if (!EFI_ERROR(BdsGetNvmeofDevController(setting.data(), &port))) {
        const auto* portPath = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(port);
        const PoolPtr<CHAR16> portText = DevicePathText(portPath);
        DebugPrint(kDebugBds, "NicDevicePath:%s\n", portText.get());
        return BdsGetDeviceLocationText(portPath);
    }
    const EFI_DEVICE_PATH_PROTOCOL* disk = BdsFindNvmeofDiskByNqn(slot);
    if (disk == nullptr) {
        return {};
    }
    PoolPtr<CHAR16> location = BdsGetNvmeofInterfaceLocation(slot);
    const PoolPtr<CHAR16> diskText = DevicePathText(disk);
    DebugPrint(kDebugBds, "Found NVMeOF interface location : %s for %s\n", location.get(),
               diskText.get());
    DebugPrint(kDebugBds, "Found NVMeOF disk matching to NVEeOF network device subsys %d\n", slot);
    return location;
}

} // namespace

PoolPtr<CHAR16> BdsDescribeNetworkDevice(const EFI_DEVICE_PATH_PROTOCOL* placeholder) {
    const NetworkBootPlaceholder* device = FindPlaceholder(placeholder);
    const NetworkBootKind kind = device == nullptr ? NetworkBootKind::Iscsi : device->kind;
    switch (kind) {
    case NetworkBootKind::Pxe:
    case NetworkBootKind::Http:
        return TextOr(DescribeInterface(*device), kUnavailable);
    case NetworkBootKind::Nvmeof:
        return TextOr(DescribeNvmeof(placeholder, device->number), kNotConnected);
    default:
        break;
    }
    const EFI_DEVICE_PATH_PROTOCOL* disk = BdsFindIscsiBootFileSystem();
    return TextOr(disk == nullptr ? PoolPtr<CHAR16>() : BdsGetDeviceLocationText(disk),
                  kNotConnected);
}

} // namespace kelm
