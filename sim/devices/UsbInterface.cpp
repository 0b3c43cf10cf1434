#include "sim/devices/UsbInterface.h"

#include "library/pure/DevicePath.h"
#include "sim/devices/Devices.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace sim {

namespace {

constexpr UINT8 kDeviceDescriptor = 1;
constexpr UINT8 kConfigDescriptor = 2;
constexpr UINT8 kStringDescriptor = 3;
constexpr UINT8 kInterfaceDescriptor = 4;
constexpr UINT8 kEndpointDescriptor = 5;

constexpr UINT16 kMadeUpVendor = 0x4B4C;
constexpr UINT16 kUsEnglish = 0x0409;
constexpr std::size_t kLongestString = 126; // characters that a string descriptor has room for

constexpr UINT16 kAnyId = 0xFFFF;
constexpr UINT8 kAnyClass = 0xFF;

constexpr UINT8 kProtocolBulkOnly = 0x50;
constexpr UINT8 kProtocolCbi = 0x00;
constexpr UINT8 kProtocolCb = 0x01; // without the interrupt

// What a device of a kind is when the machine file does not say otherwise.
struct KindRow {
    std::string_view kind;
    std::array<UINT8, 3> classCode;
    UINT16 product;
};
constexpr KindRow kKinds[] = {
    {"usb-disk", {kUsbClassMassStorage, 0x06, kProtocolBulkOnly}, 1},
    {"usb-optical", {kUsbClassMassStorage, 0x06, kProtocolBulkOnly}, 2},
    {"usb-floppy", {kUsbClassMassStorage, 0x04, kProtocolCbi}, 3},
    {"usb-keyboard", {kUsbClassHid, 0x01, 0x01}, 4},
    {"usb-hub", {kUsbClassHub, 0x00, 0x00}, 5},
    {"usb-serial", {kUsbClassVendorSpecific, 0x00, 0x00}, 6},
    {"", {kUsbClassVendorSpecific, 0x00, 0x00}, 0}, // any other kind
};

const KindRow& RowOf(std::string_view kind) {
    return *std::find_if(std::begin(kKinds), std::end(kKinds),
                         [&](const KindRow& row) { return row.kind == kind || row.kind.empty(); });
}

template <class Record>
void Append(std::vector<UINT8>& bytes, const Record& record) {
    const auto* begin = reinterpret_cast<const UINT8*>(&record);
    bytes.insert(bytes.end(), begin, begin + sizeof(record));
}

// What the device sends for a request: as much as both sides have room for.
UsbTransfer Reply(std::span<const UINT8> bytes, UINT16 length, std::span<UINT8> data) {
    const std::size_t size = std::min({bytes.size(), std::size_t{length}, data.size()});
    std::copy_n(bytes.begin(), size, data.begin());
    return {EFI_SUCCESS, EFI_USB_NOERROR, size};
}

} // namespace

UsbInterface::UsbInterface(Device& owner, const USB_DEVICE_PATH& node)
    : device(owner), port(node.ParentPortNumber), language_(kUsEnglish) {
    interface_.InterfaceNumber = node.InterfaceNumber;
    ReadIdentity();
    if (interface_.InterfaceClass == kUsbClassMassStorage) {
        if (interface_.InterfaceProtocol == kProtocolBulkOnly) {
            storage_ = &device.Keep<UsbStorageUnit>(device, UsbStorageUnit::Transport::BulkOnly);
        } else if (interface_.InterfaceProtocol == kProtocolCbi ||
                   interface_.InterfaceProtocol == kProtocolCb) {
            storage_ = &device.Keep<UsbStorageUnit>(device, UsbStorageUnit::Transport::Cbi);
        }
    }
    AddEndpoints();
    FillTable();
}

void UsbInterface::ReadIdentity() {
    const KindRow& row = RowOf(device.kind);
    const auto& machine = device.devices.platform.machine;
    const std::string usb = device.place.empty() ? "" : device.place + "/usb";
    const auto number = [&](const char* key, UINT16 absent) {
        return usb.empty() ? absent : UINT16(NumberAt(machine, usb + key, absent, 0xFFFF));
    };
    std::array<UINT8, 3> classCode = row.classCode;
    if (!usb.empty()) {
        const auto described = HexAt(machine, usb + "/class", classCode.size());
        std::copy(described.begin(), described.end(), classCode.begin());
    }
    interface_.Length = sizeof(interface_);
    interface_.DescriptorType = kInterfaceDescriptor;
    interface_.InterfaceClass = classCode[0];
    interface_.InterfaceSubClass = classCode[1];
    interface_.InterfaceProtocol = classCode[2];

    descriptor_.Length = sizeof(descriptor_);
    descriptor_.DescriptorType = kDeviceDescriptor;
    descriptor_.BcdUSB = 0x0200;
    // All but hubs leave the class to their interfaces.
    if (classCode[0] == kUsbClassHub) {
        descriptor_.DeviceClass = classCode[0];
        descriptor_.DeviceSubClass = classCode[1];
        descriptor_.DeviceProtocol = classCode[2];
    }
    descriptor_.MaxPacketSize0 = 64;
    descriptor_.IdVendor = number("/vendor", kMadeUpVendor);
    descriptor_.IdProduct = number("/product", row.product);
    descriptor_.BcdDevice = 0x0100;
    descriptor_.NumConfigurations = 1;
    if (!usb.empty()) {
        descriptor_.StrManufacturer = AddString("manufacturerName");
        descriptor_.StrProduct = AddString("productName");
        descriptor_.StrSerialNumber = AddString("serialNumber");
    }
}

// The number of the string, 0 when there is none.
UINT8 UsbInterface::AddString(const char* key) {
    const auto& machine = device.devices.platform.machine;
    const std::string place = device.place + "/usb/" + key;
    const Json& value = machine.At(place);
    if (value.is_null()) {
        return 0;
    }
    strings_.push_back(ReadText(machine, value, place));
    if (strings_.back().size() > kLongestString) {
        throw MachineFileError(machine.file, place, "has more than 126 characters");
    }
    return UINT8(strings_.size());
}

void UsbInterface::AddEndpoint(UINT8 address, UINT8 attributes, UINT16 packetSize, UINT8 interval) {
    endpoints_.push_back({sizeof(EFI_USB_ENDPOINT_DESCRIPTOR), kEndpointDescriptor, address,
                          attributes, packetSize, interval});
    interface_.NumEndpoints++;
}

void UsbInterface::AddEndpoints() {
    constexpr UINT16 kBulkPacket = 512;
    if (storage_ != nullptr || device.kind == "usb-serial") {
        AddEndpoint(kUsbEndpointIn | 1, kUsbBulk, kBulkPacket, 0);
        AddEndpoint(2, kUsbBulk, kBulkPacket, 0);
    }
    if (interface_.InterfaceClass == kUsbClassMassStorage &&
        interface_.InterfaceProtocol == kProtocolCbi) {
        AddEndpoint(kUsbEndpointIn | 3, kUsbInterrupt, 2, 32);
    } else if (interface_.InterfaceClass == kUsbClassHid) {
        AddEndpoint(kUsbEndpointIn | 1, kUsbInterrupt, 8, 10);
    } else if (interface_.InterfaceClass == kUsbClassHub) {
        AddEndpoint(kUsbEndpointIn | 1, kUsbInterrupt, 1, 12);
    }
}

// ---- Short forms

bool UsbInterface::Fits(const EFI_DEVICE_PATH_PROTOCOL* shortForm) const {
    if (const auto* wanted = kelm::NodeAs<USB_CLASS_DEVICE_PATH>(
            shortForm, kDevicePathTypeMessaging, kMessagingSubTypeUsbClass)) {
        const auto id = [](UINT16 want, UINT16 is) { return want == kAnyId || want == is; };
        const auto code = [](UINT8 want, UINT8 is) { return want == kAnyClass || want == is; };
        const bool own = descriptor_.DeviceClass != 0;
        return id(wanted->VendorId, descriptor_.IdVendor) &&
               id(wanted->ProductId, descriptor_.IdProduct) &&
               code(wanted->DeviceClass,
                    own ? descriptor_.DeviceClass : interface_.InterfaceClass) &&
               code(wanted->DeviceSubClass,
                    own ? descriptor_.DeviceSubClass : interface_.InterfaceSubClass) &&
               code(wanted->DeviceProtocol,
                    own ? descriptor_.DeviceProtocol : interface_.InterfaceProtocol);
    }
    const auto* wanted = kelm::NodeAs<USB_WWID_DEVICE_PATH>(shortForm, kDevicePathTypeMessaging,
                                                            kMessagingSubTypeUsbWwid);
    if (wanted == nullptr || wanted->InterfaceNumber != interface_.InterfaceNumber ||
        wanted->VendorId != descriptor_.IdVendor || wanted->ProductId != descriptor_.IdProduct) {
        return false;
    }
    const auto tail = kelm::NodeBytes(&wanted->Header).subspan(sizeof(*wanted));
    if (tail.empty()) {
        return true;
    }
    if (descriptor_.StrSerialNumber == 0) {
        return false;
    }
    const std::u16string& serial = strings_[descriptor_.StrSerialNumber - 1u];
    const std::span<const UINT8> bytes(reinterpret_cast<const UINT8*>(serial.data()),
                                       serial.size() * sizeof(CHAR16));
    return bytes.size() >= tail.size() &&
           std::equal(tail.begin(), tail.end(), bytes.end() - std::ptrdiff_t(tail.size()));
}

// ---- Descriptors and requests

const EFI_USB_ENDPOINT_DESCRIPTOR* UsbInterface::FindEndpoint(UINT8 address,
                                                              UINT8 attributes) const {
    const auto found =
        std::find_if(endpoints_.begin(), endpoints_.end(), [&](const auto& endpoint) {
            return endpoint.EndpointAddress == address && endpoint.Attributes == attributes;
        });
    return found != endpoints_.end() ? &*found : nullptr;
}

std::vector<UINT8> UsbInterface::Configuration() const {
    std::vector<UINT8> bytes(sizeof(EFI_USB_CONFIG_DESCRIPTOR));
    EFI_USB_CONFIG_DESCRIPTOR config = {sizeof(config), kConfigDescriptor, 0, 0, 1, 0, 0x80, 50};
    for (const Device* sibling : device.parent->children) {
        const UsbInterface* other = Of(*sibling);
        if (other == nullptr || other->port != port) {
            continue;
        }
        config.NumInterfaces++;
        Append(bytes, other->interface_);
        for (const EFI_USB_ENDPOINT_DESCRIPTOR& endpoint : other->endpoints_) {
            Append(bytes, endpoint);
        }
    }
    config.TotalLength = UINT16(bytes.size());
    std::memcpy(bytes.data(), &config, sizeof(config));
    return bytes;
}

// Empty when there is no such string; string 0 is the list of languages.
std::vector<UINT8> UsbInterface::StringDescriptor(UINT8 index) const {
    if (strings_.empty() || index > strings_.size()) {
        return {};
    }
    std::vector<UINT8> bytes = {0, kStringDescriptor};
    if (index == 0) {
        Append(bytes, language_);
    } else {
        for (const char16_t character : strings_[index - 1u]) {
            Append(bytes, character);
        }
    }
    bytes[0] = UINT8(bytes.size());
    return bytes;
}

UsbTransfer UsbInterface::GetDescriptor(const EFI_USB_DEVICE_REQUEST& request,
                                        std::span<UINT8> data) const {
    const auto type = UINT8(request.Value >> 8);
    const auto index = UINT8(request.Value);
    if (type == kDeviceDescriptor) {
        return Reply({reinterpret_cast<const UINT8*>(&descriptor_), sizeof(descriptor_)},
                     request.Length, data);
    }
    if (type == kConfigDescriptor && index == 0) {
        return Reply(Configuration(), request.Length, data);
    }
    if (type == kStringDescriptor) {
        const auto bytes = StringDescriptor(index);
        return bytes.empty() ? UsbTransfer::Stall() : Reply(bytes, request.Length, data);
    }
    return UsbTransfer::Stall();
}

UsbTransfer UsbInterface::Control(const EFI_USB_DEVICE_REQUEST& request, std::span<UINT8> data) {
    // The type of the request before the request.
    constexpr UINT16 kGetDescriptor = 0x8006;
    constexpr UINT16 kGetDeviceStatus = 0x8000;
    constexpr UINT16 kGetConfiguration = 0x8008;
    constexpr UINT16 kGetInterface = 0x810A;
    constexpr UINT16 kSetConfiguration = 0x0009;
    constexpr UINT16 kSetInterface = 0x010B;
    constexpr UINT16 kClearEndpointFeature = 0x0201;
    constexpr UINT16 kGetMaxLun = 0xA1FE;
    constexpr UINT16 kResetStorage = 0x21FF;
    constexpr UINT16 kAcceptCommand = 0x2100; // device-specific command of CBI
    constexpr UINT16 kSetIdle = 0x210A;
    constexpr UINT16 kSetProtocol = 0x210B;

    const bool bulkOnly =
        storage_ != nullptr && storage_->transport == UsbStorageUnit::Transport::BulkOnly;
    const bool cbi = storage_ != nullptr && !bulkOnly;
    constexpr std::array<UINT8, 2> kZeros = {0, 0};
    constexpr std::array<UINT8, 1> kOne = {1};
    const std::span<const UINT8> zero(kZeros);
    switch (UINT16(request.RequestType << 8 | request.Request)) {
    case kGetDescriptor:
        return GetDescriptor(request, data);
    case kGetDeviceStatus:
        return Reply(zero, request.Length, data);
    case kGetConfiguration:
        return Reply(kOne, request.Length, data);
    case kGetInterface:
        return Reply(zero.first(1), request.Length, data);
    case kSetConfiguration:
    case kSetInterface:
    case kClearEndpointFeature:
        return {};
    case kGetMaxLun:
        return bulkOnly ? Reply(zero.first(1), request.Length, data) : UsbTransfer::Stall();
    case kResetStorage:
        if (!bulkOnly) {
            return UsbTransfer::Stall();
        }
        storage_->Reset();
        return {};
    case kAcceptCommand:
        return cbi ? storage_->Accept(
                         data.first(std::min<std::size_t>(data.size(), request.Length)))
                   : UsbTransfer::Stall();
    case kSetIdle:
    case kSetProtocol:
        return interface_.InterfaceClass == kUsbClassHid ? UsbTransfer{} : UsbTransfer::Stall();
    default:
        return UsbTransfer::Stall();
    }
}

} // namespace sim
