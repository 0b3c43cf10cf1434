#include "sim/devices/DiskInfo.h"

#include "library/pure/DevicePath.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

namespace sim {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kInquirySize = 36;
constexpr std::size_t kAtaIdentifySize = 512;
constexpr std::size_t kNamespaceSize = 4096;
constexpr std::uint32_t kOpticalBlockSize = 2048;
constexpr std::string_view kRevision = "1.0";

const EFI_GUID& InterfaceOf(DiskInfoBus bus) {
    switch (bus) {
    case DiskInfoBus::Ahci:
        return gEfiDiskInfoAhciInterfaceGuid;
    case DiskInfoBus::Nvme:
        return gEfiDiskInfoNvmeInterfaceGuid;
    case DiskInfoBus::Usb:
        return gEfiDiskInfoUsbInterfaceGuid;
    default:
        return gEfiDiskInfoScsiInterfaceGuid;
    }
}

void Put(Bytes& bytes, std::size_t at, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; i++) {
        bytes[at + i] = std::uint8_t(value >> (8 * i));
    }
}

void PutText(Bytes& bytes, std::size_t at, std::size_t room, std::string_view text) {
    std::fill_n(bytes.begin() + std::ptrdiff_t(at), room, std::uint8_t{' '});
    std::copy_n(text.begin(), std::min(room, text.size()), bytes.begin() + std::ptrdiff_t(at));
}

// Standard inquiry data (SPC-4).
Bytes ScsiInquiry(const BlockMedia& media) {
    constexpr std::uint8_t kDirectAccess = 0x00;
    constexpr std::uint8_t kOptical = 0x05;
    Bytes data(kInquirySize);
    data[0] = media.geometry.blockSize == kOpticalBlockSize ? kOptical : kDirectAccess;
    data[1] = media.geometry.removable ? 0x80 : 0x00;
    data[2] = 0x05;                           // SPC-3
    data[3] = 0x02;                           // response data format
    data[4] = std::uint8_t(kInquirySize - 5); // bytes that follow
    PutText(data, 8, 8, "KELM");
    PutText(data, 16, 16, media.product);
    PutText(data, 32, 4, kRevision);
    return data;
}

// IDENTIFY (PACKET) DEVICE (ACS-3); its texts lie with the bytes of each word swapped.
Bytes AtaIdentify(const BlockMedia& media, std::string_view serial) {
    const MediaGeometry& shape = media.geometry;
    Bytes data(kAtaIdentifySize);
    const auto putWord = [&](std::size_t word, std::uint64_t value, std::size_t words = 1) {
        Put(data, 2 * word, value, 2 * words);
    };
    const auto putText = [&](std::size_t word, std::size_t words, std::string_view text) {
        PutText(data, 2 * word, 2 * words, text);
        for (std::size_t at = 2 * word; at < 2 * (word + words); at += 2) {
            std::swap(data[at], data[at + 1]);
        }
    };
    putWord(0, shape.blockSize == kOpticalBlockSize ? 0x8580 : 0x0040);
    putText(10, 10, serial);
    putText(23, 4, kRevision);
    putText(27, 20, media.product);
    putWord(49, 0x0300); // LBA and DMA
    putWord(60, std::min<std::uint64_t>(shape.blocks, 0x0FFFFFFF), 2);
    putWord(83, 0x4400); // 48-bit addresses
    putWord(100, shape.blocks, 4);
    return data;
}

// Identify Namespace (NVM Express 1.4).
Bytes NvmeNamespace(const MediaGeometry& shape) {
    Bytes data(kNamespaceSize);
    for (const std::size_t at : {0, 8, 16}) { // size, capacity, use
        Put(data, at, shape.blocks, 8);
    }
    data[128 + 2] = std::uint8_t(std::countr_zero(shape.blockSize)); // LBA format 0
    return data;
}

} // namespace

DiskInfo::DiskInfo(const Device& device, const BlockMedia& media, DiskInfoBus bus)
    : device_(device) {
    table_.protocol = {InterfaceOf(bus), &Inquiry, &Identify, &SenseData, &WhichIde};
    table_.owner = this;
    if (bus == DiskInfoBus::Ahci) {
        identify_ = AtaIdentify(media, device.id);
        if (const auto* node = kelm::NodeAs<SATA_DEVICE_PATH>(
                device.LastNode(), kDevicePathTypeMessaging, kMessagingSubTypeSata)) {
            hasPort_ = true;
            port_ = node->HBAPortNumber;
            multiplierPort_ = node->PortMultiplierPortNumber;
        }
        if (media.geometry.blockSize == kOpticalBlockSize) {
            inquiry_ = ScsiInquiry(media); // a packet device answers both
        }
    } else if (bus == DiskInfoBus::Nvme) {
        identify_ = NvmeNamespace(media.geometry);
    } else {
        inquiry_ = ScsiInquiry(media);
    }
}

EFI_STATUS DiskInfo::HandOut(std::span<const std::uint8_t> data, void* buffer, UINT32* size) {
    if (data.empty()) {
        return EFI_NOT_FOUND;
    }
    const UINT32 room = *size;
    *size = UINT32(data.size());
    if (room < data.size()) {
        return EFI_BUFFER_TOO_SMALL;
    }
    std::memcpy(buffer, data.data(), data.size());
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI DiskInfo::Inquiry(EFI_DISK_INFO_PROTOCOL* self, void* data, UINT32* size) {
    const DiskInfo& info = Table::From(self);
    if (auto fault = info.device_.Enter("DiskInfo", "Inquiry", self)) {
        return *fault;
    }
    return HandOut(info.inquiry_, data, size);
}

EFI_STATUS EFIAPI DiskInfo::Identify(EFI_DISK_INFO_PROTOCOL* self, void* data, UINT32* size) {
    const DiskInfo& info = Table::From(self);
    if (auto fault = info.device_.Enter("DiskInfo", "Identify", self)) {
        return *fault;
    }
    return HandOut(info.identify_, data, size);
}

EFI_STATUS EFIAPI DiskInfo::SenseData(EFI_DISK_INFO_PROTOCOL* self, void*, UINT32*, UINT8*) {
    const DiskInfo& info = Table::From(self);
    if (auto fault = info.device_.Enter("DiskInfo", "SenseData", self)) {
        return *fault;
    }
    return EFI_NOT_FOUND;
}

EFI_STATUS EFIAPI DiskInfo::WhichIde(EFI_DISK_INFO_PROTOCOL* self, UINT32* channel,
                                     UINT32* device) {
    const DiskInfo& info = Table::From(self);
    if (auto fault = info.device_.Enter("DiskInfo", "WhichIde", self)) {
        return *fault;
    }
    if (!info.hasPort_) {
        return EFI_UNSUPPORTED;
    }
    *channel = info.port_;
    *device = info.multiplierPort_;
    return EFI_SUCCESS;
}

} // namespace sim
