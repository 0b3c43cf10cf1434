// EFI_VLAN_CONFIG_PROTOCOL: the VLANs of a network interface (UEFI 2.10, section 27.1).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiVlanConfigProtocolGuid = {
    0x9E23D768, 0xD2F3, 0x4366, {0x9F, 0xC3, 0x3A, 0x7A, 0xBA, 0x86, 0x43, 0x74}};

struct EFI_VLAN_FIND_DATA {
    UINT16 VlanId;
    UINT8 Priority;
};
static_assert(sizeof(EFI_VLAN_FIND_DATA) == 4);

struct EFI_VLAN_CONFIG_PROTOCOL {
    // VlanId 0 to 4094 (0: priority-tagged frames only), Priority 0 to 7. An existing identifier
    // gets the new priority.
    EFI_STATUS(EFIAPI* Set)(EFI_VLAN_CONFIG_PROTOCOL* This, UINT16 VlanId, UINT8 Priority);
    // A null VlanId finds all. Entries come from pool in one block and are freed by the caller.
    // EFI_NOT_FOUND when there are none.
    EFI_STATUS(EFIAPI* Find)
    (EFI_VLAN_CONFIG_PROTOCOL* This, UINT16* VlanId, UINT16* NumberOfVlan,
     EFI_VLAN_FIND_DATA** Entries);
    EFI_STATUS(EFIAPI* Remove)(EFI_VLAN_CONFIG_PROTOCOL* This, UINT16 VlanId);
};
static_assert(sizeof(EFI_VLAN_CONFIG_PROTOCOL) == 24);

template <>
struct ProtocolGuid<EFI_VLAN_CONFIG_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiVlanConfigProtocolGuid;
};
