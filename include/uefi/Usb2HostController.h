// USB host controllers: EFI_USB2_HC_PROTOCOL (UEFI 2.10, section 17.1) and the GUID of its
// predecessor, whose members UsbHostController.h has.
#pragma once

#include "uefi/Base.h"
#include "uefi/UsbIo.h"

inline constexpr EFI_GUID gEfiUsb2HcProtocolGuid = {
    0x3E745226, 0x9818, 0x45B6, {0xA2, 0xAC, 0xD7, 0xCD, 0x0E, 0x8B, 0xA2, 0xBC}};
inline constexpr EFI_GUID gEfiUsbHcProtocolGuid = {
    0xF5089266, 0x1AA0, 0x4953, {0x97, 0xD8, 0x56, 0x2F, 0x8A, 0x73, 0xB5, 0x19}};

struct EFI_USB_HC_PROTOCOL;

inline constexpr UINT8 EFI_USB_SPEED_FULL = 0x00;
inline constexpr UINT8 EFI_USB_SPEED_LOW = 0x01;
inline constexpr UINT8 EFI_USB_SPEED_HIGH = 0x02;
inline constexpr UINT8 EFI_USB_SPEED_SUPER = 0x03;

inline constexpr UINT16 EFI_USB_HC_RESET_GLOBAL = 0x0001;
inline constexpr UINT16 EFI_USB_HC_RESET_HOST_CONTROLLER = 0x0002;
inline constexpr UINT16 EFI_USB_HC_RESET_GLOBAL_WITH_DEBUG = 0x0004;
inline constexpr UINT16 EFI_USB_HC_RESET_HOST_WITH_DEBUG = 0x0008;

enum EFI_USB_HC_STATE : UINT32 {
    EfiUsbHcStateHalt,
    EfiUsbHcStateOperational,
    EfiUsbHcStateSuspend,
    EfiUsbHcStateMaximum
};

enum EFI_USB_PORT_FEATURE : UINT32 {
    EfiUsbPortEnable = 1,
    EfiUsbPortSuspend = 2,
    EfiUsbPortReset = 4,
    EfiUsbPortPower = 8,
    EfiUsbPortOwner = 13,
    EfiUsbPortConnectChange = 16,
    EfiUsbPortEnableChange = 17,
    EfiUsbPortSuspendChange = 18,
    EfiUsbPortOverCurrentChange = 19,
    EfiUsbPortResetChange = 20
};

struct EFI_USB_PORT_STATUS {
    UINT16 PortStatus;
    UINT16 PortChangeStatus;
};
static_assert(sizeof(EFI_USB_PORT_STATUS) == 4);

struct EFI_USB2_HC_TRANSACTION_TRANSLATOR {
    UINT8 TranslatorHubAddress;
    UINT8 TranslatorPortNumber;
};
static_assert(sizeof(EFI_USB2_HC_TRANSACTION_TRANSLATOR) == 2);

inline constexpr UINTN EFI_USB_MAX_BULK_BUFFER_NUM = 10;
inline constexpr UINTN EFI_USB_MAX_ISO_BUFFER_NUM = 7;

struct EFI_USB2_HC_PROTOCOL {
    EFI_STATUS(EFIAPI* GetCapability)
    (EFI_USB2_HC_PROTOCOL* This, UINT8* MaxSpeed, UINT8* PortNumber, UINT8* Is64BitCapable);
    EFI_STATUS(EFIAPI* Reset)(EFI_USB2_HC_PROTOCOL* This, UINT16 Attributes);
    EFI_STATUS(EFIAPI* GetState)(EFI_USB2_HC_PROTOCOL* This, EFI_USB_HC_STATE* State);
    EFI_STATUS(EFIAPI* SetState)(EFI_USB2_HC_PROTOCOL* This, EFI_USB_HC_STATE State);
    EFI_STATUS(EFIAPI* ControlTransfer)
    (EFI_USB2_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 DeviceSpeed, UINTN MaximumPacketLength,
     EFI_USB_DEVICE_REQUEST* Request, EFI_USB_DATA_DIRECTION TransferDirection, void* Data,
     UINTN* DataLength, UINTN TimeOut, EFI_USB2_HC_TRANSACTION_TRANSLATOR* Translator,
     UINT32* TransferResult);
    EFI_STATUS(EFIAPI* BulkTransfer)
    (EFI_USB2_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress, UINT8 DeviceSpeed,
     UINTN MaximumPacketLength, UINT8 DataBuffersNumber, void* Data[EFI_USB_MAX_BULK_BUFFER_NUM],
     UINTN* DataLength, UINT8* DataToggle, UINTN TimeOut,
     EFI_USB2_HC_TRANSACTION_TRANSLATOR* Translator, UINT32* TransferResult);
    EFI_STATUS(EFIAPI* AsyncInterruptTransfer)
    (EFI_USB2_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress, UINT8 DeviceSpeed,
     UINTN MaximumPacketLength, BOOLEAN IsNewTransfer, UINT8* DataToggle, UINTN PollingInterval,
     UINTN DataLength, EFI_USB2_HC_TRANSACTION_TRANSLATOR* Translator,
     EFI_ASYNC_USB_TRANSFER_CALLBACK CallBackFunction, void* Context);
    EFI_STATUS(EFIAPI* SyncInterruptTransfer)
    (EFI_USB2_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress, UINT8 DeviceSpeed,
     UINTN MaximumPacketLength, void* Data, UINTN* DataLength, UINT8* DataToggle, UINTN TimeOut,
     EFI_USB2_HC_TRANSACTION_TRANSLATOR* Translator, UINT32* TransferResult);
    EFI_STATUS(EFIAPI* IsochronousTransfer)
    (EFI_USB2_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress, UINT8 DeviceSpeed,
     UINTN MaximumPacketLength, UINT8 DataBuffersNumber, void* Data[EFI_USB_MAX_ISO_BUFFER_NUM],
     UINTN DataLength, EFI_USB2_HC_TRANSACTION_TRANSLATOR* Translator, UINT32* TransferResult);
    EFI_STATUS(EFIAPI* AsyncIsochronousTransfer)
    (EFI_USB2_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress, UINT8 DeviceSpeed,
     UINTN MaximumPacketLength, UINT8 DataBuffersNumber, void* Data[EFI_USB_MAX_ISO_BUFFER_NUM],
     UINTN DataLength, EFI_USB2_HC_TRANSACTION_TRANSLATOR* Translator,
     EFI_ASYNC_USB_TRANSFER_CALLBACK IsochronousCallBack, void* Context);
    EFI_STATUS(EFIAPI* GetRootHubPortStatus)
    (EFI_USB2_HC_PROTOCOL* This, UINT8 PortNumber, EFI_USB_PORT_STATUS* PortStatus);
    EFI_STATUS(EFIAPI* SetRootHubPortFeature)
    (EFI_USB2_HC_PROTOCOL* This, UINT8 PortNumber, EFI_USB_PORT_FEATURE PortFeature);
    EFI_STATUS(EFIAPI* ClearRootHubPortFeature)
    (EFI_USB2_HC_PROTOCOL* This, UINT8 PortNumber, EFI_USB_PORT_FEATURE PortFeature);
    UINT16 MajorRevision;
    UINT16 MinorRevision;
};
static_assert(sizeof(EFI_USB2_HC_PROTOCOL) == 112);

template <>
struct ProtocolGuid<EFI_USB2_HC_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiUsb2HcProtocolGuid;
};

template <>
struct ProtocolGuid<EFI_USB_HC_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiUsbHcProtocolGuid;
};
