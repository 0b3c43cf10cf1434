// What a USB storage device answers to the commands that a driver sends through its pipes:
// bulk-only transport (USB Mass Storage Class Bulk-Only Transport 1.0) or control/bulk/interrupt
// (CBI 1.1).
//
// It knows INQUIRY, TEST UNIT READY and REQUEST SENSE, by which firmware finds out what it has in
// front of it; every other command fails as an illegal request. Its blocks are read through the
// block I/O protocol of its handle.
#pragma once

#include "sim/devices/Device.h"
#include "uefi/UsbIo.h"

#include <span>
#include <vector>

namespace sim {

// How a transfer went: the status of the call, the result of the transfer, the bytes moved.
struct UsbTransfer {
    EFI_STATUS status = EFI_SUCCESS;
    UINT32 result = EFI_USB_NOERROR;
    std::size_t size = 0;

    static UsbTransfer Stall() { return {EFI_DEVICE_ERROR, EFI_USB_ERR_STALL}; }
    static UsbTransfer Timeout() { return {EFI_TIMEOUT, EFI_USB_ERR_TIMEOUT}; }
};

class UsbStorageUnit final : public DeviceObject {
public:
    enum class Transport { BulkOnly, Cbi };

    // Reads "usb" of the device; its medium must be known already. Throws MachineFileError.
    UsbStorageUnit(const Device& device, Transport transport);

    const Transport transport;

    // Forgets the command under way.
    void Reset();
    // The bulk pipes: of bulk-only transport the wrappers of command and status too.
    UsbTransfer Out(std::span<const UINT8> bytes);
    UsbTransfer In(std::span<UINT8> bytes);
    // CBI: a command block through the control pipe, and its end through the interrupt pipe.
    UsbTransfer Accept(std::span<const UINT8> command);
    UsbTransfer Interrupt(std::span<UINT8> bytes);

private:
    enum class Stage { Command, DataIn, DataOut, Status };
    struct Sense {
        UINT8 key = 0; // 0: nothing to report
        UINT8 code = 0;
        UINT8 qualifier = 0;
    };

    void Execute(std::span<const UINT8> command, UINT8 unit);
    UsbTransfer Begin(std::span<const UINT8> wrapper);
    UsbTransfer SendData(std::span<UINT8> bytes);
    UsbTransfer SendStatus(std::span<UINT8> bytes);
    void Fail(const Sense& sense);

    std::vector<UINT8> inquiry_;
    EFI_STATUS inquiryStatus_ = EFI_SUCCESS; // of the transfer of its data
    std::uint64_t failingInquiries_ = 0;     // those that end with it, from the first one on
    Sense medium_;                           // what TEST UNIT READY finds

    // The command under way, and the sense data of the one before it.
    Stage stage_ = Stage::Command;
    std::vector<UINT8> reply_;
    std::size_t sent_ = 0;
    EFI_STATUS dataStatus_ = EFI_SUCCESS;
    bool failed_ = false;
    Sense sense_;
    UINT32 tag_ = 0;
    UINT32 expected_ = 0; // bytes that the host wants to move
};

} // namespace sim
