// NVMe drives that come and go before an operating system runs. BDS sets the enable byte and then
// calls the matching member.
#pragma once

#include "uefi/Base.h"

#include <cstddef>

// {5632C773-D11A-4B1F-98BB-DFCC56ED2462}
inline constexpr EFI_GUID gKelmNvmePrebootHotplugProtocolGuid = {
    0x5632C773, 0xD11A, 0x4B1F, {0x98, 0xBB, 0xDF, 0xCC, 0x56, 0xED, 0x24, 0x62}};

struct KelmNvmePrebootHotplugProtocol {
    UINT8 Enable; // 1 before Initialize, 0 before Uninitialize
    UINT8 Reserved1[7];
    // Starts watching the drive bays. On an error BDS runs the disabling step.
    EFI_STATUS(EFIAPI* NvmePrebootHotplugInitialize)(KelmNvmePrebootHotplugProtocol* This);
    // Stops watching.
    EFI_STATUS(EFIAPI* NvmePrebootHotplugUninitialize)(KelmNvmePrebootHotplugProtocol* This);
};
static_assert(sizeof(KelmNvmePrebootHotplugProtocol) == 3 * sizeof(void*));
static_assert(offsetof(KelmNvmePrebootHotplugProtocol, NvmePrebootHotplugInitialize) == 8);

template <>
struct ProtocolGuid<KelmNvmePrebootHotplugProtocol> {
    static constexpr const EFI_GUID& value = gKelmNvmePrebootHotplugProtocolGuid;
};
