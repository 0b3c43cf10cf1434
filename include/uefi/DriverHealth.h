// EFI_DRIVER_HEALTH_PROTOCOL: what a driver thinks of its controllers, and their repair (UEFI 2.10,
// section 11.10).
#pragma once

#include "uefi/Base.h"
#include "uefi/HiiPackage.h"

inline constexpr EFI_GUID gEfiDriverHealthProtocolGuid = {
    0x2A534210, 0x9280, 0x41D8, {0xAE, 0x79, 0xCA, 0xDA, 0x01, 0xA2, 0xB1, 0x27}};

enum EFI_DRIVER_HEALTH_STATUS : UINT32 {
    EfiDriverHealthStatusHealthy,
    EfiDriverHealthStatusRepairRequired,
    EfiDriverHealthStatusConfigurationRequired,
    EfiDriverHealthStatusFailed,
    EfiDriverHealthStatusReconnectRequired,
    EfiDriverHealthStatusRebootRequired
};

// A message list ends with an entry whose HiiHandle is null.
struct EFI_DRIVER_HEALTH_HII_MESSAGE {
    EFI_HII_HANDLE HiiHandle;
    EFI_STRING_ID StringId;
    UINT64 MessageCode;
};
static_assert(sizeof(EFI_DRIVER_HEALTH_HII_MESSAGE) == 24);

// Progress of a repair: Value out of Limit. Limit 0: progress is not known.
using EFI_DRIVER_HEALTH_REPAIR_NOTIFY = EFI_STATUS(EFIAPI*)(UINTN Value, UINTN Limit);

struct EFI_DRIVER_HEALTH_PROTOCOL {
    // With a null ControllerHandle: the combined health of all controllers the driver manages.
    // MessageList comes from pool and is freed by the caller.
    EFI_STATUS(EFIAPI* GetHealthStatus)
    (EFI_DRIVER_HEALTH_PROTOCOL* This, EFI_HANDLE ControllerHandle, EFI_HANDLE ChildHandle,
     EFI_DRIVER_HEALTH_STATUS* HealthStatus, EFI_DRIVER_HEALTH_HII_MESSAGE** MessageList,
     EFI_HII_HANDLE* FormHiiHandle);
    EFI_STATUS(EFIAPI* Repair)
    (EFI_DRIVER_HEALTH_PROTOCOL* This, EFI_HANDLE ControllerHandle, EFI_HANDLE ChildHandle,
     EFI_DRIVER_HEALTH_REPAIR_NOTIFY RepairNotify);
};
static_assert(sizeof(EFI_DRIVER_HEALTH_PROTOCOL) == 16);

template <>
struct ProtocolGuid<EFI_DRIVER_HEALTH_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiDriverHealthProtocolGuid;
};
