#include "sim/devices/SerialPort.h"

#include "library/pure/DevicePath.h"
#include "sim/devices/Devices.h"
#include "sim/firmware/Clock.h"
#include "sim/siblings/MachineReader.h"

#include <algorithm>

namespace sim {

namespace {

constexpr UINT64 kDefaultRate = 115200;
constexpr UINT8 kDefaultDataBits = 8;
constexpr UINT32 kDefaultTimeout = 1000000; // microseconds
constexpr UINT32 kLargestTimeout = 100000000;
constexpr UINT32 kFifoDepth = 16;
constexpr UINT64 kRates[] = {50,   75,   110,  134,  150,  300,   600,   1200,  1800,  2000,
                             2400, 3600, 4800, 7200, 9600, 19200, 38400, 57600, 115200};
constexpr UINT64 kRateFlags = 7; // how far below its rate a stored one may be

constexpr UINT32 kSettable = EFI_SERIAL_DATA_TERMINAL_READY | EFI_SERIAL_REQUEST_TO_SEND |
                             EFI_SERIAL_HARDWARE_LOOPBACK_ENABLE |
                             EFI_SERIAL_SOFTWARE_LOOPBACK_ENABLE |
                             EFI_SERIAL_HARDWARE_FLOW_CONTROL_ENABLE;
constexpr UINT32 kReadable = EFI_SERIAL_CLEAR_TO_SEND | EFI_SERIAL_DATA_SET_READY |
                             EFI_SERIAL_RING_INDICATE | EFI_SERIAL_CARRIER_DETECT |
                             EFI_SERIAL_INPUT_BUFFER_EMPTY | EFI_SERIAL_OUTPUT_BUFFER_EMPTY;
constexpr UINT32 kLoopbacks =
    EFI_SERIAL_HARDWARE_LOOPBACK_ENABLE | EFI_SERIAL_SOFTWARE_LOOPBACK_ENABLE;
constexpr UINT32 kPowerOnControl = EFI_SERIAL_DATA_TERMINAL_READY | EFI_SERIAL_REQUEST_TO_SEND;

// The rate that the port runs at when a node asks for this one.
UINT64 RateOf(UINT64 stored) {
    if (stored == 0) {
        return kDefaultRate;
    }
    const auto* rate = std::lower_bound(std::begin(kRates), std::end(kRates), stored);
    return rate != std::end(kRates) && *rate - stored <= kRateFlags ? *rate : stored;
}

// What a UART can do of the fields that are not 0.
bool IsFrame(UINT32 dataBits, UINT32 parity, UINT32 stopBits) {
    if ((dataBits != 0 && (dataBits < 5 || dataBits > 8)) || parity > SpaceParity ||
        stopBits > TwoStopBits) {
        return false;
    }
    // A stop bit and a half is what a UART makes of two when there are five data bits.
    const bool five = dataBits == 5;
    return !(stopBits == OneFiveStopBits && !five) && !(stopBits == TwoStopBits && five);
}

} // namespace

const UART_DEVICE_PATH* UartNodeOf(const EFI_DEVICE_PATH_PROTOCOL* path) {
    const auto* node =
        kelm::NodeAs<UART_DEVICE_PATH>(path, kDevicePathTypeMessaging, kMessagingSubTypeUart);
    return node != nullptr && IsFrame(node->DataBits, node->Parity, node->StopBits) ? node
                                                                                    : nullptr;
}

SerialPort::SerialPort(const Device& owner) : device(owner) {
    table_.owner = this;
    table_.protocol = {EFI_SERIAL_IO_PROTOCOL_REVISION1p1,
                       &Reset,
                       &SetAttributes,
                       &SetControl,
                       &GetControl,
                       &Write,
                       &Read,
                       &mode_,
                       nullptr};
    if (device.place.empty()) {
        return;
    }
    const auto& machine = device.devices.platform.machine;
    const std::string place = device.place + "/serial";
    terminal_ = FlagAt(machine, place + "/terminal", false);
    const Json& type = machine.At(place + "/deviceType");
    if (!type.is_null()) {
        deviceType_ = ReadGuid(machine, type, place + "/deviceType");
        table_.protocol.DeviceTypeGuid = &*deviceType_;
    }
}

void SerialPort::PublishOn(Device& uart, const UART_DEVICE_PATH& node) {
    mode_.ControlMask = kSettable | kReadable;
    mode_.Timeout = kDefaultTimeout;
    mode_.BaudRate = RateOf(node.BaudRate);
    mode_.ReceiveFifoDepth = kFifoDepth;
    mode_.DataBits = node.DataBits != 0 ? node.DataBits : kDefaultDataBits;
    mode_.Parity = node.Parity != DefaultParity ? UINT32(node.Parity) : UINT32(NoParity);
    mode_.StopBits = node.StopBits != DefaultStopBits ? UINT32(node.StopBits) : UINT32(OneStopBit);
    control_ = kPowerOnControl;
    input_.clear();
    uart.Publish(gEfiSerialIoProtocolGuid, &table_.protocol);
}

EFI_STATUS EFIAPI SerialPort::Reset(EFI_SERIAL_IO_PROTOCOL* self) {
    SerialPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SerialIo", "Reset", self)) {
        return *fault;
    }
    port.control_ = kPowerOnControl;
    port.input_.clear();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SerialPort::SetAttributes(EFI_SERIAL_IO_PROTOCOL* self, UINT64 baudRate,
                                            UINT32 receiveFifoDepth, UINT32 timeout,
                                            EFI_PARITY_TYPE parity, UINT8 dataBits,
                                            EFI_STOP_BITS_TYPE stopBits) {
    SerialPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SerialIo", "SetAttributes", self)) {
        return *fault;
    }
    const UINT64 rate = baudRate != 0 ? baudRate : kDefaultRate;
    const UINT32 depth = receiveFifoDepth != 0 ? receiveFifoDepth : kFifoDepth;
    const UINT32 wait = timeout != 0 ? timeout : kDefaultTimeout;
    if (rate < kRates[0] || rate > kDefaultRate || depth > kFifoDepth || wait > kLargestTimeout ||
        !IsFrame(dataBits, parity, stopBits)) {
        return EFI_INVALID_PARAMETER;
    }
    EFI_SERIAL_IO_MODE& mode = port.mode_;
    mode.BaudRate = rate;
    mode.ReceiveFifoDepth = depth;
    mode.Timeout = wait;
    mode.DataBits = dataBits != 0 ? dataBits : kDefaultDataBits;
    mode.Parity = parity != DefaultParity ? parity : NoParity;
    mode.StopBits = stopBits != DefaultStopBits ? stopBits : OneStopBit;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SerialPort::SetControl(EFI_SERIAL_IO_PROTOCOL* self, UINT32 control) {
    SerialPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SerialIo", "SetControl", self)) {
        return *fault;
    }
    if ((control & ~kSettable) != 0) {
        return EFI_UNSUPPORTED;
    }
    port.control_ = control;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SerialPort::GetControl(EFI_SERIAL_IO_PROTOCOL* self, UINT32* control) {
    const SerialPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SerialIo", "GetControl", self)) {
        return *fault;
    }
    if (control == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *control = port.control_ | EFI_SERIAL_OUTPUT_BUFFER_EMPTY;
    if (port.input_.empty()) {
        *control |= EFI_SERIAL_INPUT_BUFFER_EMPTY;
    }
    if (port.terminal_) {
        *control |=
            EFI_SERIAL_CLEAR_TO_SEND | EFI_SERIAL_DATA_SET_READY | EFI_SERIAL_CARRIER_DETECT;
    }
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SerialPort::Write(EFI_SERIAL_IO_PROTOCOL* self, UINTN* size, const void* buffer) {
    SerialPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SerialIo", "Write", self)) {
        return *fault;
    }
    if (size == nullptr || (buffer == nullptr && *size != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    const auto* bytes = static_cast<const char*>(buffer);
    if ((port.control_ & kLoopbacks) != 0) {
        port.input_.insert(port.input_.end(), bytes, bytes + *size);
    } else {
        port.written_.append(bytes, *size);
    }
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SerialPort::Read(EFI_SERIAL_IO_PROTOCOL* self, UINTN* size, void* buffer) {
    SerialPort& port = Table::From(self);
    if (auto fault = port.device.Enter("SerialIo", "Read", self)) {
        return *fault;
    }
    if (size == nullptr || (buffer == nullptr && *size != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    if (port.input_.size() < *size) {
        port.device.devices.platform.clock->Advance(port.mode_.Timeout); // may end the boot
    }
    const UINTN wanted = *size;
    *size = std::min<UINTN>(wanted, port.input_.size());
    std::copy_n(port.input_.begin(), *size, static_cast<UINT8*>(buffer));
    port.input_.erase(port.input_.begin(), port.input_.begin() + std::ptrdiff_t(*size));
    return *size < wanted ? EFI_TIMEOUT : EFI_SUCCESS;
}

} // namespace sim
