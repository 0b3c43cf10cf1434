// EFI_USB_HC_PROTOCOL: USB 1.1 host controllers (EFI 1.10, section 14.2), the predecessor of
// EFI_USB2_HC_PROTOCOL.
#pragma once

#include "uefi/Usb2HostController.h"

// Timeouts and polling intervals are in milliseconds.
struct EFI_USB_HC_PROTOCOL {
    EFI_STATUS(EFIAPI* Reset)(EFI_USB_HC_PROTOCOL* This, UINT16 Attributes);
    EFI_STATUS(EFIAPI* GetState)(EFI_USB_HC_PROTOCOL* This, EFI_USB_HC_STATE* State);
    EFI_STATUS(EFIAPI* SetState)(EFI_USB_HC_PROTOCOL* This, EFI_USB_HC_STATE State);
    EFI_STATUS(EFIAPI* ControlTransfer)
    (EFI_USB_HC_PROTOCOL* This, UINT8 DeviceAddress, BOOLEAN IsSlowDevice,
     UINT8 MaximumPacketLength, EFI_USB_DEVICE_REQUEST* Request,
     EFI_USB_DATA_DIRECTION TransferDirection, void* Data, UINTN* DataLength, UINTN TimeOut,
     UINT32* TransferResult);
    EFI_STATUS(EFIAPI* BulkTransfer)
    (EFI_USB_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress,
     UINT8 MaximumPacketLength, void* Data, UINTN* DataLength, UINT8* DataToggle, UINTN TimeOut,
     UINT32* TransferResult);
    EFI_STATUS(EFIAPI* AsyncInterruptTransfer)
    (EFI_USB_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress, BOOLEAN IsSlowDevice,
     UINT8 MaximumPacketLength, BOOLEAN IsNewTransfer, UINT8* DataToggle, UINTN PollingInterval,
     UINTN DataLength, EFI_ASYNC_USB_TRANSFER_CALLBACK CallBackFunction, void* Context);
    EFI_STATUS(EFIAPI* SyncInterruptTransfer)
    (EFI_USB_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress, BOOLEAN IsSlowDevice,
     UINT8 MaximumPacketLength, void* Data, UINTN* DataLength, UINT8* DataToggle, UINTN TimeOut,
     UINT32* TransferResult);
    EFI_STATUS(EFIAPI* IsochronousTransfer)
    (EFI_USB_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress,
     UINT8 MaximumPacketLength, void* Data, UINTN DataLength, UINT32* TransferResult);
    EFI_STATUS(EFIAPI* AsyncIsochronousTransfer)
    (EFI_USB_HC_PROTOCOL* This, UINT8 DeviceAddress, UINT8 EndPointAddress,
     UINT8 MaximumPacketLength, void* Data, UINTN DataLength,
     EFI_ASYNC_USB_TRANSFER_CALLBACK IsochronousCallBack, void* Context);
    EFI_STATUS(EFIAPI* GetRootHubPortNumber)(EFI_USB_HC_PROTOCOL* This, UINT8* PortNumber);
    EFI_STATUS(EFIAPI* GetRootHubPortStatus)
    (EFI_USB_HC_PROTOCOL* This, UINT8 PortNumber, EFI_USB_PORT_STATUS* PortStatus);
    EFI_STATUS(EFIAPI* SetRootHubPortFeature)
    (EFI_USB_HC_PROTOCOL* This, UINT8 PortNumber, EFI_USB_PORT_FEATURE PortFeature);
    EFI_STATUS(EFIAPI* ClearRootHubPortFeature)
    (EFI_USB_HC_PROTOCOL* This, UINT8 PortNumber, EFI_USB_PORT_FEATURE PortFeature);
    UINT16 MajorRevision;
    UINT16 MinorRevision;
};
static_assert(sizeof(EFI_USB_HC_PROTOCOL) == 112);
