// A serial port: the serial I/O protocol (UEFI 2.10, section 12.8) of the UART device behind it,
// and what has gone out of it. With "serial".terminal somebody is connected to it; keys that this
// person presses do not come in here but through the keyboard of the machine, so that only a
// loopback brings bytes back.
#pragma once

#include "sim/devices/Device.h"
#include "sim/siblings/Sibling.h"
#include "uefi/SerialIo.h"

#include <deque>
#include <optional>
#include <string>

namespace sim {

class SerialPort final : public DeviceObject {
public:
    // Reads "serial" of the device that the port is. Throws MachineFileError.
    explicit SerialPort(const Device& owner);

    // Publishes the protocol on the handle of a UART device, in the mode of its node.
    void PublishOn(Device& uart, const UART_DEVICE_PATH& node);

    const Device& device;
    // What was written in this boot, through whichever UART device.
    const std::string& Written() const { return written_; }
    const EFI_SERIAL_IO_MODE& Mode() const { return mode_; }

private:
    using Table = Interface<EFI_SERIAL_IO_PROTOCOL, SerialPort>;

    static EFI_STATUS EFIAPI Reset(EFI_SERIAL_IO_PROTOCOL* self);
    static EFI_STATUS EFIAPI SetAttributes(EFI_SERIAL_IO_PROTOCOL* self, UINT64 baudRate,
                                           UINT32 receiveFifoDepth, UINT32 timeout,
                                           EFI_PARITY_TYPE parity, UINT8 dataBits,
                                           EFI_STOP_BITS_TYPE stopBits);
    static EFI_STATUS EFIAPI SetControl(EFI_SERIAL_IO_PROTOCOL* self, UINT32 control);
    static EFI_STATUS EFIAPI GetControl(EFI_SERIAL_IO_PROTOCOL* self, UINT32* control);
    static EFI_STATUS EFIAPI Write(EFI_SERIAL_IO_PROTOCOL* self, UINTN* size, const void* buffer);
    static EFI_STATUS EFIAPI Read(EFI_SERIAL_IO_PROTOCOL* self, UINTN* size, void* buffer);

    bool terminal_ = false;
    std::optional<EFI_GUID> deviceType_;
    EFI_SERIAL_IO_MODE mode_{};
    UINT32 control_ = 0; // those bits that can be set
    std::string written_;
    std::deque<UINT8> input_;
    Table table_;
};

// Whether a UART device can be made from a node: any rate, because the low bits of a stored one may
// carry flags; the other fields must be possible ones, or 0 for the default.
const UART_DEVICE_PATH* UartNodeOf(const EFI_DEVICE_PATH_PROTOCOL* path);

} // namespace sim
