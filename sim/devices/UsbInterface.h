// One interface of a USB device: its descriptors, and the USB I/O protocol of its handle
// (UEFI 2.10, section 17.2).
//
// Descriptors are what "usb" of the machine file says; what it leaves out follows from the kind of
// the device. Interfaces on the same port are those of one device.
#pragma once

#include "sim/devices/UsbStorageUnit.h"
#include "sim/siblings/Sibling.h"

#include <span>
#include <string>
#include <vector>

namespace sim {

inline constexpr UINT8 kUsbEndpointIn = 0x80; // of an endpoint's address
inline constexpr UINT8 kUsbBulk = 2;          // of its attributes
inline constexpr UINT8 kUsbInterrupt = 3;

class UsbInterface final : public DeviceObject {
public:
    // Reads "usb"; throws MachineFileError. `node` is the USB node of the device.
    UsbInterface(Device& owner, const USB_DEVICE_PATH& node);

    // The object of a USB interface, nullptr for any other device.
    static UsbInterface* Of(const Device& owner) { return owner.Find<UsbInterface>(); }

    Device& device;
    const UINT8 port; // of the hub or controller that it hangs from, from 0
    EFI_USB_IO_PROTOCOL* Protocol() { return &table_.protocol; }

    // Whether a short-form node fits it: USB class, or USB WWID with the end of the serial number
    // (UEFI 2.10, sections 10.3.4.5 to 10.3.4.7). 0xFFFF and 0xFF of a class node fit everything.
    bool Fits(const EFI_DEVICE_PATH_PROTOCOL* shortForm) const;

private:
    using Table = Interface<EFI_USB_IO_PROTOCOL, UsbInterface>;

    void ReadIdentity();
    UINT8 AddString(const char* key);
    void AddEndpoint(UINT8 address, UINT8 attributes, UINT16 packetSize, UINT8 interval);
    void AddEndpoints();
    void FillTable();

    const EFI_USB_ENDPOINT_DESCRIPTOR* FindEndpoint(UINT8 address, UINT8 attributes) const;
    // The configuration descriptor and all that belongs to it.
    std::vector<UINT8> Configuration() const;
    std::vector<UINT8> StringDescriptor(UINT8 index) const;
    UsbTransfer Control(const EFI_USB_DEVICE_REQUEST& request, std::span<UINT8> data);
    UsbTransfer GetDescriptor(const EFI_USB_DEVICE_REQUEST& request, std::span<UINT8> data) const;

    static EFI_STATUS EFIAPI ControlTransfer(EFI_USB_IO_PROTOCOL* self,
                                             EFI_USB_DEVICE_REQUEST* request,
                                             EFI_USB_DATA_DIRECTION direction, UINT32 timeout,
                                             void* data, UINTN dataLength, UINT32* result);
    static EFI_STATUS EFIAPI BulkTransfer(EFI_USB_IO_PROTOCOL* self, UINT8 address, void* data,
                                          UINTN* dataLength, UINTN timeout, UINT32* result);
    static EFI_STATUS EFIAPI SyncInterruptTransfer(EFI_USB_IO_PROTOCOL* self, UINT8 address,
                                                   void* data, UINTN* dataLength, UINTN timeout,
                                                   UINT32* result);
    static EFI_STATUS EFIAPI GetDeviceDescriptor(EFI_USB_IO_PROTOCOL* self,
                                                 EFI_USB_DEVICE_DESCRIPTOR* descriptor);
    static EFI_STATUS EFIAPI GetConfigDescriptor(EFI_USB_IO_PROTOCOL* self,
                                                 EFI_USB_CONFIG_DESCRIPTOR* descriptor);
    static EFI_STATUS EFIAPI GetInterfaceDescriptor(EFI_USB_IO_PROTOCOL* self,
                                                    EFI_USB_INTERFACE_DESCRIPTOR* descriptor);
    static EFI_STATUS EFIAPI GetEndpointDescriptor(EFI_USB_IO_PROTOCOL* self, UINT8 index,
                                                   EFI_USB_ENDPOINT_DESCRIPTOR* descriptor);
    static EFI_STATUS EFIAPI GetStringDescriptor(EFI_USB_IO_PROTOCOL* self, UINT16 language,
                                                 UINT8 index, CHAR16** text);
    static EFI_STATUS EFIAPI GetSupportedLanguages(EFI_USB_IO_PROTOCOL* self, UINT16** table,
                                                   UINT16* size);
    static EFI_STATUS EFIAPI PortReset(EFI_USB_IO_PROTOCOL* self);

    EFI_USB_DEVICE_DESCRIPTOR descriptor_{};
    EFI_USB_INTERFACE_DESCRIPTOR interface_{};
    std::vector<EFI_USB_ENDPOINT_DESCRIPTOR> endpoints_;
    std::vector<std::u16string> strings_; // string n is at n - 1
    UINT16 language_;                     // of all strings
    UsbStorageUnit* storage_ = nullptr;   // of a storage device
    Table table_;
};

} // namespace sim
