// The USB I/O protocol of an interface.
#include "sim/devices/Devices.h"
#include "sim/devices/UnsupportedMember.h"
#include "sim/devices/UsbInterface.h"

#include <cstring>

namespace sim {

void UsbInterface::FillTable() {
    table_.owner = this;
    EFI_USB_IO_PROTOCOL& table = table_.protocol;
    table.UsbControlTransfer = &ControlTransfer;
    table.UsbBulkTransfer = &BulkTransfer;
    table.UsbSyncInterruptTransfer = &SyncInterruptTransfer;
    table.UsbGetDeviceDescriptor = &GetDeviceDescriptor;
    table.UsbGetConfigDescriptor = &GetConfigDescriptor;
    table.UsbGetInterfaceDescriptor = &GetInterfaceDescriptor;
    table.UsbGetEndpointDescriptor = &GetEndpointDescriptor;
    table.UsbGetStringDescriptor = &GetStringDescriptor;
    table.UsbGetSupportedLanguages = &GetSupportedLanguages;
    table.UsbPortReset = &PortReset;
    FillUnsupported<UsbInterface, "UsbIo", "UsbAsyncInterruptTransfer">(
        table.UsbAsyncInterruptTransfer);
    FillUnsupported<UsbInterface, "UsbIo", "UsbIsochronousTransfer">(table.UsbIsochronousTransfer);
    FillUnsupported<UsbInterface, "UsbIo", "UsbAsyncIsochronousTransfer">(
        table.UsbAsyncIsochronousTransfer);
}

EFI_STATUS EFIAPI UsbInterface::ControlTransfer(EFI_USB_IO_PROTOCOL* self,
                                                EFI_USB_DEVICE_REQUEST* request,
                                                EFI_USB_DATA_DIRECTION direction, UINT32,
                                                void* data, UINTN dataLength, UINT32* result) {
    UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbControlTransfer", self)) {
        return *fault;
    }
    if (request == nullptr || result == nullptr ||
        (direction != EfiUsbNoData && data == nullptr && dataLength != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    std::span<UINT8> bytes;
    if (direction != EfiUsbNoData && data != nullptr) {
        bytes = {static_cast<UINT8*>(data), dataLength};
    }
    const UsbTransfer transfer = owner.Control(*request, bytes);
    *result = transfer.result;
    return transfer.status;
}

EFI_STATUS EFIAPI UsbInterface::BulkTransfer(EFI_USB_IO_PROTOCOL* self, UINT8 address, void* data,
                                             UINTN* dataLength, UINTN, UINT32* result) {
    UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbBulkTransfer", self)) {
        return *fault;
    }
    if (data == nullptr || dataLength == nullptr || result == nullptr ||
        owner.FindEndpoint(address, kUsbBulk) == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const std::span<UINT8> bytes(static_cast<UINT8*>(data), *dataLength);
    UsbTransfer transfer = UsbTransfer::Timeout();
    if (owner.storage_ != nullptr) {
        transfer = (address & kUsbEndpointIn) != 0 ? owner.storage_->In(bytes)
                                                   : owner.storage_->Out(bytes);
    }
    *dataLength = transfer.size;
    *result = transfer.result;
    return transfer.status;
}

EFI_STATUS EFIAPI UsbInterface::SyncInterruptTransfer(EFI_USB_IO_PROTOCOL* self, UINT8 address,
                                                      void* data, UINTN* dataLength, UINTN,
                                                      UINT32* result) {
    UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbSyncInterruptTransfer", self)) {
        return *fault;
    }
    if (data == nullptr || dataLength == nullptr || result == nullptr ||
        owner.FindEndpoint(address, kUsbInterrupt) == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    UsbTransfer transfer = UsbTransfer::Timeout();
    if (owner.storage_ != nullptr) {
        transfer = owner.storage_->Interrupt({static_cast<UINT8*>(data), *dataLength});
    }
    *dataLength = transfer.size;
    *result = transfer.result;
    return transfer.status;
}

EFI_STATUS EFIAPI UsbInterface::GetDeviceDescriptor(EFI_USB_IO_PROTOCOL* self,
                                                    EFI_USB_DEVICE_DESCRIPTOR* descriptor) {
    const UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbGetDeviceDescriptor", self)) {
        return *fault;
    }
    if (descriptor == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *descriptor = owner.descriptor_;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI UsbInterface::GetConfigDescriptor(EFI_USB_IO_PROTOCOL* self,
                                                    EFI_USB_CONFIG_DESCRIPTOR* descriptor) {
    const UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbGetConfigDescriptor", self)) {
        return *fault;
    }
    if (descriptor == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const auto bytes = owner.Configuration();
    std::memcpy(descriptor, bytes.data(), sizeof(*descriptor));
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI UsbInterface::GetInterfaceDescriptor(EFI_USB_IO_PROTOCOL* self,
                                                       EFI_USB_INTERFACE_DESCRIPTOR* descriptor) {
    const UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbGetInterfaceDescriptor", self)) {
        return *fault;
    }
    if (descriptor == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *descriptor = owner.interface_;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI UsbInterface::GetEndpointDescriptor(EFI_USB_IO_PROTOCOL* self, UINT8 index,
                                                      EFI_USB_ENDPOINT_DESCRIPTOR* descriptor) {
    const UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbGetEndpointDescriptor", self)) {
        return *fault;
    }
    if (descriptor == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (index >= owner.endpoints_.size()) {
        return EFI_NOT_FOUND;
    }
    *descriptor = owner.endpoints_[index];
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI UsbInterface::GetStringDescriptor(EFI_USB_IO_PROTOCOL* self, UINT16 language,
                                                    UINT8 index, CHAR16** text) {
    const UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbGetStringDescriptor", self)) {
        return *fault;
    }
    if (text == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (index == 0 || index > owner.strings_.size() || language != owner.language_) {
        return EFI_NOT_FOUND;
    }
    const std::u16string& found = owner.strings_[index - 1u];
    *text = static_cast<CHAR16*>(owner.device.devices.platform.CopyToPool(
        found.c_str(), (found.size() + 1) * sizeof(CHAR16), "UsbIo"));
    return *text != nullptr ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS EFIAPI UsbInterface::GetSupportedLanguages(EFI_USB_IO_PROTOCOL* self, UINT16** table,
                                                      UINT16* size) {
    UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbGetSupportedLanguages", self)) {
        return *fault;
    }
    if (table == nullptr || size == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *table = &owner.language_;
    *size = owner.strings_.empty() ? 0 : sizeof(owner.language_);
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI UsbInterface::PortReset(EFI_USB_IO_PROTOCOL* self) {
    UsbInterface& owner = Table::From(self);
    if (auto fault = owner.device.Enter("UsbIo", "UsbPortReset", self)) {
        return *fault;
    }
    if (owner.storage_ != nullptr) {
        owner.storage_->Reset();
    }
    return EFI_SUCCESS;
}

} // namespace sim
