#include "bootopt/DeviceNames.h"

#include "library/pure/Ucs2.h"
#include "uefi/DevicePath.h"
#include "uefi/DriverBinding.h"
#include "uefi/GlobalVariable.h"
#include "uefi/PciIo.h"
#include "uefi/UsbIo.h"

#include <string_view>

namespace kelm {

namespace {

constexpr std::string_view kDefaultLanguage = "en-US";

// USB language identifiers of the languages that PlatformLangCodes offers.
struct UsbLanguage {
    std::string_view tag; // the primary language
    UINT16 id;
};
constexpr UsbLanguage kUsbLanguages[] = {{"en", 0x0409}, {"fr", 0x040C}, {"de", 0x0407},
                                         {"es", 0x040A}, {"ja", 0x0411}, {"zh", 0x0804}};

UINT16 UsbLanguageOf(std::string_view language) {
    for (const UsbLanguage& known : kUsbLanguages) {
        if (language.starts_with(known.tag)) {
            return known.id;
        }
    }
    return kUsbLanguages[0].id;
}

PoolPtr<CHAR16> UsbProduct(EFI_HANDLE handle, std::string_view language) {
    auto* usbIo = ProtocolOnHandle<EFI_USB_IO_PROTOCOL>(handle);
    EFI_USB_DEVICE_DESCRIPTOR device{};
    PoolPtr<CHAR16> product;
    if (usbIo == nullptr || EFI_ERROR(usbIo->UsbGetDeviceDescriptor(usbIo, &device)) ||
        device.StrProduct == 0) {
        return {};
    }
    if (EFI_ERROR(usbIo->UsbGetStringDescriptor(usbIo, UsbLanguageOf(language), device.StrProduct,
                                                product.out()))) {
        product.reset();
    }
    return product;
}

bool Supports(const EFI_COMPONENT_NAME2_PROTOCOL& namer, std::string_view language) {
    std::string_view list = namer.SupportedLanguages == nullptr ? "" : namer.SupportedLanguages;
    while (!list.empty()) {
        const size_t end = std::min(list.find(';'), list.size());
        if (list.substr(0, end) == language) {
            return true;
        }
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return false;
}

// The PCI function that the device hangs from; null when there is none.
EFI_HANDLE PciFunctionOf(EFI_HANDLE handle) {
    auto* rest = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
    EFI_HANDLE function = nullptr;
    if (rest == nullptr ||
        EFI_ERROR(gBS->LocateDevicePath(&gEfiPciIoProtocolGuid, &rest, &function))) {
        return nullptr;
    }
    return function;
}

} // namespace

DeviceNames::DeviceNames() : language_{} {
    UINTN size = language_.size() - 1;
    if (EFI_ERROR(gRT->GetVariable(const_cast<CHAR16*>(kPlatformLangName), &gEfiGlobalVariableGuid,
                                   nullptr, &size, language_.data())) ||
        language_[0] == '\0') {
        language_ = {};
        kDefaultLanguage.copy(language_.data(), kDefaultLanguage.size());
    }
    static_cast<void>(namers_.LocateByProtocol(gEfiComponentName2ProtocolGuid));
}

PoolPtr<CHAR16> DeviceNames::NameByDrivers(EFI_HANDLE controller, EFI_HANDLE child) const {
    for (EFI_HANDLE handle : namers_.handles()) {
        auto* namer = ProtocolOnHandle<EFI_COMPONENT_NAME2_PROTOCOL>(handle);
        CHAR16* name = nullptr;
        if (namer != nullptr && Supports(*namer, language_.data()) &&
            !EFI_ERROR(
                namer->GetControllerName(namer, controller, child, language_.data(), &name)) &&
            name != nullptr && name[0] != u'\0') {
            return AllocateCopyPool(Ucs2Size(name), name); // the driver keeps its own
        }
    }
    return {};
}

PoolPtr<CHAR16> DeviceNames::Find(EFI_HANDLE handle) const {
    PoolPtr<CHAR16> name = UsbProduct(handle, language_.data());
    if (name && name[0] != u'\0') {
        return name;
    }
    name = NameByDrivers(handle, nullptr);
    if (EFI_HANDLE function = name ? nullptr : PciFunctionOf(handle); function != nullptr) {
        name = NameByDrivers(function, handle);
    }
    return name;
}

} // namespace kelm
