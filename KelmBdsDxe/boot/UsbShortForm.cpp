#include "boot/UsbShortForm.h"

#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "uefi/UsbIo.h"

#include <cstring>
#include <span>
#include <string_view>

namespace kelm {

namespace {

constexpr UINT16 kUsbEnglish = 0x0409;
constexpr UINT16 kAnyId = 0xFFFF;
constexpr UINT8 kAnyClass = 0xFF;
constexpr size_t kMaxSerialNumber = 64; // characters of it that count, from its end

struct Descriptors {
    EFI_USB_DEVICE_DESCRIPTOR device;
    EFI_USB_INTERFACE_DESCRIPTOR interface;
};

bool Fits(UINT8 wanted, UINT8 actual) {
    return wanted == kAnyClass || wanted == actual;
}

bool FitsClass(const USB_CLASS_DEVICE_PATH& node, const Descriptors& usb) {
    const bool anyVendor = node.VendorId == kAnyId || node.VendorId == usb.device.IdVendor;
    const bool anyProduct = node.ProductId == kAnyId || node.ProductId == usb.device.IdProduct;
    if (!anyVendor || !anyProduct) {
        return false;
    }
    // A device without a class of its own has those of its interfaces.
    const bool ofInterface = usb.device.DeviceClass == 0;
    return Fits(node.DeviceClass,
                ofInterface ? usb.interface.InterfaceClass : usb.device.DeviceClass) &&
           Fits(node.DeviceSubClass,
                ofInterface ? usb.interface.InterfaceSubClass : usb.device.DeviceSubClass) &&
           Fits(node.DeviceProtocol,
                ofInterface ? usb.interface.InterfaceProtocol : usb.device.DeviceProtocol);
}

bool FitsSerialNumber(const EFI_DEVICE_PATH_PROTOCOL* node, EFI_USB_IO_PROTOCOL& usbIo,
                      const Descriptors& usb) {
    const size_t length = (NodeLength(node) - sizeof(USB_WWID_DEVICE_PATH)) / sizeof(CHAR16);
    if (length == 0) {
        return true; // the path does not care
    }
    PoolPtr<CHAR16> serial;
    if (usb.device.StrSerialNumber == 0 ||
        EFI_ERROR(usbIo.UsbGetStringDescriptor(&usbIo, kUsbEnglish, usb.device.StrSerialNumber,
                                               serial.out())) ||
        !serial) {
        return false;
    }
    std::u16string_view actual = Ucs2View(serial.get());
    if (actual.size() > kMaxSerialNumber) {
        actual.remove_prefix(actual.size() - kMaxSerialNumber);
    }
    // The text in the node lies unaligned and may end in a NUL.
    CHAR16 wanted[kMaxSerialNumber + 1] = {};
    if (length > std::size(wanted)) {
        return false;
    }
    std::memcpy(wanted, NodeBytes(node).data() + sizeof(USB_WWID_DEVICE_PATH),
                length * sizeof(CHAR16));
    return actual == Ucs2View(std::span<const CHAR16>(wanted, length));
}

bool Fits(const EFI_DEVICE_PATH_PROTOCOL* node, EFI_USB_IO_PROTOCOL& usbIo) {
    Descriptors usb{};
    if (EFI_ERROR(usbIo.UsbGetDeviceDescriptor(&usbIo, &usb.device)) ||
        EFI_ERROR(usbIo.UsbGetInterfaceDescriptor(&usbIo, &usb.interface))) {
        return false;
    }
    if (const auto* byClass = NodeAs<USB_CLASS_DEVICE_PATH>(node, kDevicePathTypeMessaging,
                                                            kMessagingSubTypeUsbClass)) {
        return FitsClass(*byClass, usb);
    }
    const auto* wwid =
        NodeAs<USB_WWID_DEVICE_PATH>(node, kDevicePathTypeMessaging, kMessagingSubTypeUsbWwid);
    return wwid != nullptr && wwid->VendorId == usb.device.IdVendor &&
           wwid->ProductId == usb.device.IdProduct &&
           wwid->InterfaceNumber == usb.interface.InterfaceNumber &&
           FitsSerialNumber(node, usbIo, usb);
}

} // namespace

const EFI_DEVICE_PATH_PROTOCOL* BdsFindUsbShortFormNode(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (path == nullptr) {
        return nullptr;
    }
    for (const EFI_DEVICE_PATH_PROTOCOL* node : DevicePathNodes(path)) {
        if (IsNode(node, kDevicePathTypeMessaging, kMessagingSubTypeUsbClass) ||
            IsNode(node, kDevicePathTypeMessaging, kMessagingSubTypeUsbWwid)) {
            return node;
        }
    }
    return nullptr;
}

bool BdsIsUsbShortFormOf(const EFI_DEVICE_PATH_PROTOCOL* path, EFI_HANDLE usbDevice) {
    const EFI_DEVICE_PATH_PROTOCOL* node = BdsFindUsbShortFormNode(path);
    auto* usbIo = ProtocolOnHandle<EFI_USB_IO_PROTOCOL>(usbDevice);
    if (node == nullptr || usbIo == nullptr) {
        return false;
    }
    const size_t prefixSize =
        size_t(reinterpret_cast<const UINT8*>(node) - reinterpret_cast<const UINT8*>(path));
    const auto device = DevicePathBytes(ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(usbDevice));
    return device.size() > prefixSize && std::memcmp(device.data(), path, prefixSize) == 0 &&
           Fits(node, *usbIo);
}

EFI_HANDLE BdsFindUsbDevice(const EFI_DEVICE_PATH_PROTOCOL* path) {
    if (BdsFindUsbShortFormNode(path) == nullptr) {
        return nullptr;
    }
    HandleBuffer interfaces;
    static_cast<void>(interfaces.LocateByProtocol(gEfiUsbIoProtocolGuid));
    for (EFI_HANDLE handle : interfaces.handles()) {
        if (BdsIsUsbShortFormOf(path, handle)) {
            return handle;
        }
    }
    return nullptr;
}

PoolPtr<EFI_DEVICE_PATH_PROTOCOL> BdsExpandUsbShortFormPath(const EFI_DEVICE_PATH_PROTOCOL* path) {
    EFI_HANDLE device = BdsFindUsbDevice(path);
    if (device == nullptr) {
        return {};
    }
    return AppendDevicePaths(ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(device),
                             NextNode(BdsFindUsbShortFormNode(path)));
}

} // namespace kelm
