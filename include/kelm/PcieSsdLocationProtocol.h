// Tells the management controller in which bays and slots the PCIe SSDs sit. BDS calls the three
// steps in the order CollectBays, CollectSlots, SendToNimbor.
#pragma once

#include "uefi/Base.h"

// {F3AF31AA-D035-4254-AAA2-2E39D3025D1A}
inline constexpr EFI_GUID gKelmPcieSsdLocationProtocolGuid = {
    0xF3AF31AA, 0xD035, 0x4254, {0xAA, 0xA2, 0x2E, 0x39, 0xD3, 0x02, 0x5D, 0x1A}};

struct KelmPcieSsdLocationProtocol {
    void* Reserved0;
    // Sends what the other two have collected.
    EFI_STATUS(EFIAPI* SendToNimbor)(KelmPcieSsdLocationProtocol* This);
    void* Reserved2;
    // Finds the bay of each drive.
    EFI_STATUS(EFIAPI* CollectBays)(KelmPcieSsdLocationProtocol* This);
    void* Reserved4;
    // Finds the slot of each drive.
    EFI_STATUS(EFIAPI* CollectSlots)(KelmPcieSsdLocationProtocol* This);
};
static_assert(sizeof(KelmPcieSsdLocationProtocol) == 6 * sizeof(void*));

template <>
struct ProtocolGuid<KelmPcieSsdLocationProtocol> {
    static constexpr const EFI_GUID& value = gKelmPcieSsdLocationProtocolGuid;
};
