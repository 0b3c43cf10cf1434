// The platform's TPM service: physical-presence requests, measurement of what is booted, error
// reports and the TPM's firmware identity. Unless a member says otherwise its status is not looked
// at, and a missing service skips the step.
#pragma once

#include "kelm/FirmwareInventory.h"
#include "uefi/Base.h"

struct EFI_DEVICE_PATH_PROTOCOL;

// {94D0F304-77B8-451F-8B5C-001680248F9C}
inline constexpr EFI_GUID gKelmPlatformTpmProtocolGuid = {
    0x94D0F304, 0x77B8, 0x451F, {0x8B, 0x5C, 0x00, 0x16, 0x80, 0x24, 0x8F, 0x9C}};
// The name by which the inventory code knows the same protocol.
inline constexpr const EFI_GUID& gKelmTpmFwInfoProtocolGuid = gKelmPlatformTpmProtocolGuid;

struct KelmPlatformTpmProtocol {
    void* Reserved0;
    // A boot attempt is about to load this device path.
    EFI_STATUS(EFIAPI* MeasureBootPath)
    (KelmPlatformTpmProtocol* This, const EFI_DEVICE_PATH_PROTOCOL* path);
    void* Reserved2;
    void* Reserved3;
    void* Reserved4;
    void* Reserved5;
    void* Reserved6;
    // Fills version, class and component id; the strings stay the service's. The FQDD is the
    // caller's to set. An error means that no TPM is fitted.
    EFI_STATUS(EFIAPI* GetFirmwareInfo)
    (KelmPlatformTpmProtocol* This, FirmwareInventoryRecord* record);
    void* Reserved8;
    // Carries out requests that the operating system left for the TPM. The argument is non-zero
    // when they may run now, that is when no firmware update job waits.
    EFI_STATUS(EFIAPI* ProcessOsRequests)(KelmPlatformTpmProtocol* This, UINT32 noUpdatePending);
    void* Reserved10;
    void* Reserved11;
    void* Reserved12;
    void* Reserved13;
    // First half of the TPM error report.
    EFI_STATUS(EFIAPI* ReportError)(KelmPlatformTpmProtocol* This);
    void* Reserved15;
    void* Reserved16;
    void* Reserved17;
    void* Reserved18;
    void* Reserved19;
    // Second half of the TPM error report.
    EFI_STATUS(EFIAPI* ReportConfigurationError)(KelmPlatformTpmProtocol* This);
    // Called once, right after BDS has initialised itself.
    EFI_STATUS(EFIAPI* EarlyInit)(KelmPlatformTpmProtocol* This);
    void* Reserved22;
    void* Reserved23;
    void* Reserved24;
    void* Reserved25;
    void* Reserved26;
    void* Reserved27;
    void* Reserved28;
    void* Reserved29;
    void* Reserved30;
    void* Reserved31;
    void* Reserved32;
    void* Reserved33;
    // EFI_SUCCESS when GetFirmwareInfo is usable on this TPM.
    EFI_STATUS(EFIAPI* IsFirmwareInfoSupported)(KelmPlatformTpmProtocol* This);
};
static_assert(sizeof(KelmPlatformTpmProtocol) == 35 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPlatformTpmProtocol> {
    static constexpr const EFI_GUID& value = gKelmPlatformTpmProtocolGuid;
};
