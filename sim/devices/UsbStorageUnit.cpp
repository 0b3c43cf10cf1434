#include "sim/devices/UsbStorageUnit.h"

#include "library/pure/Bytes.h"
#include "sim/devices/BlockMedia.h"
#include "sim/devices/Devices.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr UINT32 kCommandSignature = 0x43425355; // USBC
constexpr UINT32 kStatusSignature = 0x53425355;  // USBS
constexpr std::size_t kCommandWrapperSize = 31;
constexpr std::size_t kStatusWrapperSize = 13;
constexpr UINT8 kDirectionIn = 0x80;

constexpr UINT8 kTestUnitReady = 0x00;
constexpr UINT8 kRequestSense = 0x03;
constexpr UINT8 kInquiry = 0x12;

constexpr UINT8 kNotReady = 2;
constexpr UINT8 kMediumError = 3;
constexpr UINT8 kIllegalRequest = 5;

constexpr std::size_t kInquirySize = 36;
constexpr std::size_t kSenseSize = 18;
constexpr std::size_t kLargestInquiry = 255;

void PutText(std::span<UINT8> field, std::string_view text) {
    std::fill(field.begin(), field.end(), UINT8{' '});
    std::copy_n(text.begin(), std::min(text.size(), field.size()), field.begin());
}

// Standard inquiry data (SPC-3, and UFI, which has the same fields).
std::vector<UINT8> MakeInquiry(const Device& device, const BlockMedia* media) {
    constexpr UINT8 kDirectAccess = 0x00;
    constexpr UINT8 kOptical = 0x05;
    std::vector<UINT8> data(kInquirySize);
    const bool removable =
        device.kind != "usb-disk" || (media != nullptr && media->geometry.removable);
    data[0] = device.kind == "usb-optical" ? kOptical : kDirectAccess;
    data[1] = removable ? 0x80 : 0x00;
    data[2] = device.kind == "usb-floppy" ? 0x00 : 0x05;
    data[3] = device.kind == "usb-floppy" ? 0x01 : 0x02; // response data format
    data[4] = UINT8(kInquirySize - 5);                   // bytes that follow
    const std::span<UINT8> texts(data);
    PutText(texts.subspan(8, 8), "KELM");
    PutText(texts.subspan(16, 16), media != nullptr ? media->product : device.id);
    PutText(texts.subspan(32, 4), "1.0");
    return data;
}

} // namespace

UsbStorageUnit::UsbStorageUnit(const Device& device, Transport transportIn)
    : transport(transportIn) {
    const auto* media = device.Find<BlockMedia>();
    if (!device.place.empty()) {
        const auto& machine = device.devices.platform.machine;
        inquiry_ = HexAt(machine, device.place + "/usb/inquiry", kLargestInquiry);
        const std::string failures = device.place + "/usb/inquiryFailures";
        const bool some = !machine.At(failures).is_null();
        inquiryStatus_ = StatusAt(machine, device.place + "/usb/inquiryStatus",
                                  some ? EFI_DEVICE_ERROR : EFI_SUCCESS);
        failingInquiries_ = NumberAt(machine, failures, ~std::uint64_t{0});
    }
    if (inquiry_.empty()) {
        inquiry_ = MakeInquiry(device, media);
    }
    if (media == nullptr || !media->geometry.present) {
        medium_ = {kNotReady, 0x3A, 0x00}; // no medium
    } else if (!media->geometry.Readable()) {
        medium_ = {kMediumError, 0x11, 0x00}; // unrecovered read error
    }
}

void UsbStorageUnit::Reset() {
    stage_ = Stage::Command;
}

void UsbStorageUnit::Fail(const Sense& sense) {
    failed_ = true;
    sense_ = sense;
}

void UsbStorageUnit::Execute(std::span<const UINT8> command, UINT8 unit) {
    const auto byte = [&](std::size_t at) { return at < command.size() ? command[at] : UINT8{0}; };
    const Sense before = sense_;
    reply_.clear();
    sent_ = 0;
    dataStatus_ = EFI_SUCCESS;
    failed_ = false;
    sense_ = {};
    if (unit != 0) {
        Fail({kIllegalRequest, 0x25, 0x00}); // there is one unit only
        return;
    }
    switch (byte(0)) {
    case kTestUnitReady:
        if (medium_.key != 0) {
            Fail(medium_);
        }
        break;
    case kRequestSense:
        reply_.assign(kSenseSize, 0);
        reply_[0] = 0x70;
        reply_[2] = before.key;
        reply_[7] = UINT8(kSenseSize - 8); // bytes that follow
        reply_[12] = before.code;
        reply_[13] = before.qualifier;
        reply_.resize(std::min<std::size_t>(kSenseSize, byte(4)));
        break;
    case kInquiry:
        if ((byte(1) & 0x01) != 0) {
            Fail({kIllegalRequest, 0x24, 0x00}); // no vital product data
            break;
        }
        reply_ = inquiry_;
        reply_.resize(std::min<std::size_t>(inquiry_.size(), byte(3) << 8 | byte(4)));
        if (failingInquiries_ > 0) {
            failingInquiries_--;
            dataStatus_ = inquiryStatus_;
        }
        break;
    default:
        Fail({kIllegalRequest, 0x20, 0x00}); // no such command
    }
}

// ---- Pipes

// A command wrapper.
UsbTransfer UsbStorageUnit::Begin(std::span<const UINT8> wrapper) {
    kelm::ByteReader reader(wrapper);
    const UINT32 signature = reader.ReadU32();
    tag_ = reader.ReadU32();
    expected_ = reader.ReadU32();
    const UINT8 flags = reader.ReadU8();
    const UINT8 unit = reader.ReadU8();
    const UINT8 length = reader.ReadU8();
    const auto block = reader.ReadBytes(16);
    if (wrapper.size() != kCommandWrapperSize || signature != kCommandSignature || length == 0 ||
        length > block.size()) {
        return UsbTransfer::Stall();
    }
    Execute(block.first(length), unit);
    if (expected_ == 0) {
        stage_ = Stage::Status;
    } else {
        stage_ = (flags & kDirectionIn) != 0 ? Stage::DataIn : Stage::DataOut;
    }
    return {EFI_SUCCESS, EFI_USB_NOERROR, wrapper.size()};
}

UsbTransfer UsbStorageUnit::SendData(std::span<UINT8> bytes) {
    if (EFI_ERROR(dataStatus_)) {
        stage_ = Stage::Status;
        return {dataStatus_, dataStatus_ == EFI_TIMEOUT ? EFI_USB_ERR_TIMEOUT : EFI_USB_ERR_SYSTEM};
    }
    const std::size_t left = reply_.size() - sent_;
    const std::size_t size = std::min(left, bytes.size());
    std::copy_n(reply_.begin() + std::ptrdiff_t(sent_), size, bytes.begin());
    sent_ += size;
    if (sent_ == reply_.size()) {
        stage_ = Stage::Status;
    }
    // Nothing to send where the host wants something ends the data stage with a stall.
    return size == 0 ? UsbTransfer::Stall() : UsbTransfer{EFI_SUCCESS, EFI_USB_NOERROR, size};
}

UsbTransfer UsbStorageUnit::SendStatus(std::span<UINT8> bytes) {
    if (bytes.size() < kStatusWrapperSize) {
        return UsbTransfer::Stall();
    }
    kelm::ByteWriter writer(bytes);
    writer.WriteU32(kStatusSignature);
    writer.WriteU32(tag_);
    writer.WriteU32(expected_ - UINT32(std::min<std::size_t>(expected_, sent_)));
    writer.WriteU8(failed_ ? 1 : 0);
    stage_ = Stage::Command;
    return {EFI_SUCCESS, EFI_USB_NOERROR, kStatusWrapperSize};
}

UsbTransfer UsbStorageUnit::Out(std::span<const UINT8> bytes) {
    if (stage_ == Stage::DataOut) {
        stage_ = Stage::Status; // no command here takes data
        return UsbTransfer::Stall();
    }
    return transport == Transport::BulkOnly ? Begin(bytes) : UsbTransfer::Stall();
}

UsbTransfer UsbStorageUnit::In(std::span<UINT8> bytes) {
    if (stage_ == Stage::DataIn) {
        return SendData(bytes);
    }
    if (stage_ == Stage::Status && transport == Transport::BulkOnly) {
        return SendStatus(bytes);
    }
    return UsbTransfer::Timeout(); // has nothing to say
}

UsbTransfer UsbStorageUnit::Accept(std::span<const UINT8> command) {
    Execute(command, 0);
    stage_ = reply_.empty() ? Stage::Status : Stage::DataIn;
    return {EFI_SUCCESS, EFI_USB_NOERROR, command.size()};
}

// The additional sense code and its qualifier, as UFI devices tell the end of a command.
UsbTransfer UsbStorageUnit::Interrupt(std::span<UINT8> bytes) {
    const std::array<UINT8, 2> ending = {sense_.code, sense_.qualifier};
    if (stage_ != Stage::Status || bytes.size() < ending.size()) {
        return UsbTransfer::Timeout();
    }
    std::copy(ending.begin(), ending.end(), bytes.begin());
    stage_ = Stage::Command;
    return {EFI_SUCCESS, EFI_USB_NOERROR, ending.size()};
}

} // namespace sim
