// EFI_USB_IO_PROTOCOL: one interface of a USB device, with the requests and descriptors of USB 2.0
// (UEFI 2.10, section 17.2).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiUsbIoProtocolGuid = {
    0x2B2F68D6, 0x0CD2, 0x44CF, {0x8E, 0x8B, 0xBB, 0xA2, 0x0B, 0x1B, 0x5B, 0x75}};

// Class codes.
inline constexpr UINT8 kUsbClassHid = 0x03;
inline constexpr UINT8 kUsbClassMassStorage = 0x08;
inline constexpr UINT8 kUsbClassHub = 0x09;
inline constexpr UINT8 kUsbClassVendorSpecific = 0xFF;

struct [[gnu::packed]] EFI_USB_DEVICE_REQUEST {
    UINT8 RequestType;
    UINT8 Request;
    UINT16 Value;
    UINT16 Index;
    UINT16 Length;
};
static_assert(sizeof(EFI_USB_DEVICE_REQUEST) == 8);

struct [[gnu::packed]] EFI_USB_DEVICE_DESCRIPTOR {
    UINT8 Length;
    UINT8 DescriptorType;
    UINT16 BcdUSB;
    UINT8 DeviceClass;
    UINT8 DeviceSubClass;
    UINT8 DeviceProtocol;
    UINT8 MaxPacketSize0;
    UINT16 IdVendor;
    UINT16 IdProduct;
    UINT16 BcdDevice;
    UINT8 StrManufacturer;
    UINT8 StrProduct;
    UINT8 StrSerialNumber;
    UINT8 NumConfigurations;
};
static_assert(sizeof(EFI_USB_DEVICE_DESCRIPTOR) == 18);

struct [[gnu::packed]] EFI_USB_CONFIG_DESCRIPTOR {
    UINT8 Length;
    UINT8 DescriptorType;
    UINT16 TotalLength;
    UINT8 NumInterfaces;
    UINT8 ConfigurationValue;
    UINT8 Configuration;
    UINT8 Attributes;
    UINT8 MaxPower;
};
static_assert(sizeof(EFI_USB_CONFIG_DESCRIPTOR) == 9);

struct [[gnu::packed]] EFI_USB_INTERFACE_DESCRIPTOR {
    UINT8 Length;
    UINT8 DescriptorType;
    UINT8 InterfaceNumber;
    UINT8 AlternateSetting;
    UINT8 NumEndpoints;
    UINT8 InterfaceClass;
    UINT8 InterfaceSubClass;
    UINT8 InterfaceProtocol;
    UINT8 Interface;
};
static_assert(sizeof(EFI_USB_INTERFACE_DESCRIPTOR) == 9);

struct [[gnu::packed]] EFI_USB_ENDPOINT_DESCRIPTOR {
    UINT8 Length;
    UINT8 DescriptorType;
    UINT8 EndpointAddress;
    UINT8 Attributes;
    UINT16 MaxPacketSize;
    UINT8 Interval;
};
static_assert(sizeof(EFI_USB_ENDPOINT_DESCRIPTOR) == 7);

enum EFI_USB_DATA_DIRECTION : UINT32 { EfiUsbDataIn, EfiUsbDataOut, EfiUsbNoData };

// Transfer results.
inline constexpr UINT32 EFI_USB_NOERROR = 0x0000;
inline constexpr UINT32 EFI_USB_ERR_NOTEXECUTE = 0x0001;
inline constexpr UINT32 EFI_USB_ERR_STALL = 0x0002;
inline constexpr UINT32 EFI_USB_ERR_BUFFER = 0x0004;
inline constexpr UINT32 EFI_USB_ERR_BABBLE = 0x0008;
inline constexpr UINT32 EFI_USB_ERR_NAK = 0x0010;
inline constexpr UINT32 EFI_USB_ERR_CRC = 0x0020;
inline constexpr UINT32 EFI_USB_ERR_TIMEOUT = 0x0040;
inline constexpr UINT32 EFI_USB_ERR_BITSTUFF = 0x0080;
inline constexpr UINT32 EFI_USB_ERR_SYSTEM = 0x0100;

using EFI_ASYNC_USB_TRANSFER_CALLBACK = EFI_STATUS(EFIAPI*)(void* Data, UINTN DataLength,
                                                            void* Context, UINT32 Status);

// Timeouts and polling intervals are in milliseconds.
struct EFI_USB_IO_PROTOCOL {
    EFI_STATUS(EFIAPI* UsbControlTransfer)
    (EFI_USB_IO_PROTOCOL* This, EFI_USB_DEVICE_REQUEST* Request, EFI_USB_DATA_DIRECTION Direction,
     UINT32 Timeout, void* Data, UINTN DataLength, UINT32* Status);
    EFI_STATUS(EFIAPI* UsbBulkTransfer)
    (EFI_USB_IO_PROTOCOL* This, UINT8 DeviceEndpoint, void* Data, UINTN* DataLength, UINTN Timeout,
     UINT32* Status);
    EFI_STATUS(EFIAPI* UsbAsyncInterruptTransfer)
    (EFI_USB_IO_PROTOCOL* This, UINT8 DeviceEndpoint, BOOLEAN IsNewTransfer, UINTN PollingInterval,
     UINTN DataLength, EFI_ASYNC_USB_TRANSFER_CALLBACK InterruptCallBack, void* Context);
    EFI_STATUS(EFIAPI* UsbSyncInterruptTransfer)
    (EFI_USB_IO_PROTOCOL* This, UINT8 DeviceEndpoint, void* Data, UINTN* DataLength, UINTN Timeout,
     UINT32* Status);
    EFI_STATUS(EFIAPI* UsbIsochronousTransfer)
    (EFI_USB_IO_PROTOCOL* This, UINT8 DeviceEndpoint, void* Data, UINTN DataLength, UINT32* Status);
    EFI_STATUS(EFIAPI* UsbAsyncIsochronousTransfer)
    (EFI_USB_IO_PROTOCOL* This, UINT8 DeviceEndpoint, void* Data, UINTN DataLength,
     EFI_ASYNC_USB_TRANSFER_CALLBACK IsochronousCallBack, void* Context);
    EFI_STATUS(EFIAPI* UsbGetDeviceDescriptor)
    (EFI_USB_IO_PROTOCOL* This, EFI_USB_DEVICE_DESCRIPTOR* DeviceDescriptor);
    EFI_STATUS(EFIAPI* UsbGetConfigDescriptor)
    (EFI_USB_IO_PROTOCOL* This, EFI_USB_CONFIG_DESCRIPTOR* ConfigurationDescriptor);
    EFI_STATUS(EFIAPI* UsbGetInterfaceDescriptor)
    (EFI_USB_IO_PROTOCOL* This, EFI_USB_INTERFACE_DESCRIPTOR* InterfaceDescriptor);
    EFI_STATUS(EFIAPI* UsbGetEndpointDescriptor)
    (EFI_USB_IO_PROTOCOL* This, UINT8 EndpointIndex,
     EFI_USB_ENDPOINT_DESCRIPTOR* EndpointDescriptor);
    // String comes from pool and is freed by the caller.
    EFI_STATUS(EFIAPI* UsbGetStringDescriptor)
    (EFI_USB_IO_PROTOCOL* This, UINT16 LangID, UINT8 StringID, CHAR16** String);
    // The table stays with the producer; TableSize is in bytes.
    EFI_STATUS(EFIAPI* UsbGetSupportedLanguages)
    (EFI_USB_IO_PROTOCOL* This, UINT16** LangIDTable, UINT16* TableSize);
    EFI_STATUS(EFIAPI* UsbPortReset)(EFI_USB_IO_PROTOCOL* This);
};
static_assert(sizeof(EFI_USB_IO_PROTOCOL) == 104);

template <>
struct ProtocolGuid<EFI_USB_IO_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiUsbIoProtocolGuid;
};
