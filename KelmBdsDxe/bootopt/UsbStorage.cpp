#include "bootopt/UsbStorage.h"

#include "bootopt/DeviceLocation.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Ucs2.h"
#include "uefi/UsbIo.h"

#include <algorithm>
#include <array>
#include <optional>

namespace kelm {

namespace {

struct VirtualDevice {
    std::u16string_view fqddPrefix;
    UsbStorageKind kind;
};
constexpr VirtualDevice kVirtualDevices[] = {
    {u"Floppy.NimborVirtual", UsbStorageKind::Floppy},
    {u"Optical.NimborVirtual", UsbStorageKind::Optical},
    {u"Disk.NimborVirtual", UsbStorageKind::Disk},
};

constexpr std::array<std::u16string_view, 7> kExcludedNames = {
    u"MAS", u"mas", u"FORGELINEDRIVE", u"forgelinedrive", u"SECUPD", u"secupd", u"Virtual Media"};

constexpr UINT8 kProtocolBulkOnly = 0x50;
constexpr UINT8 kEndpointIn = 0x80;
constexpr UINT8 kTransferTypeMask = 0x03;
constexpr UINT8 kTransferTypeBulk = 0x02;

constexpr UINT8 kInquiryTries = 5;
constexpr UINT8 kInquirySize = 36;
constexpr UINT8 kCommandInquiry = 0x12;
constexpr UINTN kTransferTimeout = 1000; // milliseconds

// The wrappers of the bulk-only transport (USB Mass Storage Class Bulk-Only Transport 1.0).
struct [[gnu::packed]] CommandWrapper {
    UINT32 signature = 0x43425355;
    UINT32 tag = 0;
    UINT32 dataLength = 0;
    UINT8 flags = 0;
    UINT8 unit = 0;
    UINT8 commandLength = 0;
    UINT8 command[16] = {};
};
static_assert(sizeof(CommandWrapper) == 31);
struct [[gnu::packed]] StatusWrapper {
    UINT32 signature = 0;
    UINT32 tag = 0;
    UINT32 residue = 0;
    UINT8 status = 0;
};
static_assert(sizeof(StatusWrapper) == 13);
constexpr UINT32 kStatusSignature = 0x53425355;

struct BulkPipes {
    UINT8 in = 0;
    UINT8 out = 0;
};

std::optional<BulkPipes> FindBulkPipes(EFI_USB_IO_PROTOCOL& usbIo, UINT8 endpoints) {
    BulkPipes pipes;
    for (UINT8 i = 0; i < endpoints; ++i) {
        EFI_USB_ENDPOINT_DESCRIPTOR endpoint{};
        if (EFI_ERROR(usbIo.UsbGetEndpointDescriptor(&usbIo, i, &endpoint)) ||
            (endpoint.Attributes & kTransferTypeMask) != kTransferTypeBulk) {
            continue;
        }
        UINT8& pipe = (endpoint.EndpointAddress & kEndpointIn) != 0 ? pipes.in : pipes.out;
        if (pipe == 0) {
            pipe = endpoint.EndpointAddress;
        }
    }
    return pipes.in != 0 && pipes.out != 0 ? std::optional(pipes) : std::nullopt;
}

bool Transfer(EFI_USB_IO_PROTOCOL& usbIo, UINT8 pipe, void* data, UINTN& size) {
    UINT32 result = 0;
    return !EFI_ERROR(usbIo.UsbBulkTransfer(&usbIo, pipe, data, &size, kTransferTimeout, &result));
}

// The peripheral byte of one INQUIRY; nothing when the device does not answer it.
std::optional<UINT8> Inquire(EFI_USB_IO_PROTOCOL& usbIo, const BulkPipes& pipes, UINT8 tag) {
    CommandWrapper command;
    command.tag = tag;
    command.dataLength = kInquirySize;
    command.flags = kEndpointIn;
    command.commandLength = 6;
    command.command[0] = kCommandInquiry;
    command.command[4] = kInquirySize;
    UINTN size = sizeof(command);
    if (!Transfer(usbIo, pipes.out, &command, size)) {
        return {};
    }
    std::array<UINT8, kInquirySize> answer{};
    UINTN answered = answer.size();
    const bool data = Transfer(usbIo, pipes.in, answer.data(), answered);
    // The device waits until its status is fetched, also after a failure.
    StatusWrapper status;
    size = sizeof(status);
    const bool done = Transfer(usbIo, pipes.in, &status, size) && size == sizeof(status) &&
                      status.signature == kStatusSignature && status.status == 0;
    return data && done && answered > 0 ? std::optional(answer[0]) : std::nullopt;
}

UsbStorageKind KindOfInterface(EFI_USB_IO_PROTOCOL& usbIo) {
    EFI_USB_INTERFACE_DESCRIPTOR interface {};
    if (EFI_ERROR(usbIo.UsbGetInterfaceDescriptor(&usbIo, &interface)) ||
        interface.InterfaceClass != kUsbClassMassStorage) {
        return UsbStorageKind::None;
    }
    if (interface.InterfaceProtocol != kProtocolBulkOnly) {
        return UsbStorageKind::Floppy;
    }
    const auto pipes = FindBulkPipes(usbIo, interface.NumEndpoints);
    for (UINT8 tag = 1; pipes && tag <= kInquiryTries; ++tag) {
        if (const auto peripheral = Inquire(usbIo, *pipes, tag)) {
            return *peripheral == 0 ? UsbStorageKind::Disk : UsbStorageKind::Optical;
        }
    }
    return UsbStorageKind::None;
}

} // namespace

UsbStorageKind BdsGetUsbStorageKind(const EFI_DEVICE_PATH_PROTOCOL* path) {
    PoolPtr<CHAR16> fqdd;
    static_cast<void>(BdsGetDeviceLocation(path, nullptr, &fqdd));
    for (const VirtualDevice& device : kVirtualDevices) {
        if (Ucs2View(fqdd.get()).starts_with(device.fqddPrefix)) {
            return device.kind;
        }
    }
    auto* rest = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(path);
    EFI_HANDLE handle = nullptr;
    if (path == nullptr ||
        EFI_ERROR(gBS->LocateDevicePath(&gEfiUsbIoProtocolGuid, &rest, &handle))) {
        return UsbStorageKind::None;
    }
    auto* usbIo = ProtocolOnHandle<EFI_USB_IO_PROTOCOL>(handle);
    return usbIo == nullptr ? UsbStorageKind::None : KindOfInterface(*usbIo);
}

bool BdsIsExcludedUsbDevice(std::u16string_view name) {
    return std::ranges::any_of(
        kExcludedNames, [&](std::u16string_view prefix) { return name.starts_with(prefix); });
}

} // namespace kelm
