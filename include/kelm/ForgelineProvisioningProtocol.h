// The Forgeline provisioning tool: whether it is there, what it wants of this boot, and the ways
// into it. Request codes stand in kelm/BootTaskTypes.h.
#pragma once

#include "uefi/Base.h"

// {EF6BE1E6-301F-46FC-878A-466AED763704}
inline constexpr EFI_GUID gKelmForgelineProvisioningProtocolGuid = {
    0xEF6BE1E6, 0x301F, 0x46FC, {0x87, 0x8A, 0x46, 0x6A, 0xED, 0x76, 0x37, 0x04}};

// Flag of GetRequest: the system-configuration request needs the boot options enumerated.
inline constexpr UINT32 kForgelineFlagEnumerateBootOptions = 0x1;

struct KelmForgelineProvisioningProtocol {
    void* Reserved0;
    // The pending request and its flags. An error counts as a disabled tool.
    EFI_STATUS(EFIAPI* GetRequest)
    (KelmForgelineProvisioningProtocol* This, UINT32* request, UINT32* flags);
    void* Reserved2;
    void* Reserved3;
    // Collects the system inventory.
    EFI_STATUS(EFIAPI* LaunchCsior)(KelmForgelineProvisioningProtocol* This);
    // Starts the tool, for its user interface or for a system configuration request. Returns when
    // the tool is left, or not at all.
    EFI_STATUS(EFIAPI* Launch)(KelmForgelineProvisioningProtocol* This);
    // Prepares a boot into the service partition. In UEFI boot mode *optionNumber receives the boot
    // option to start and `partition` is null; in BIOS mode it is the other way round and
    // *partition receives the handle.
    EFI_STATUS(EFIAPI* PrepareServicePartition)
    (KelmForgelineProvisioningProtocol* This, UINT16* optionNumber, EFI_HANDLE* partition);
    // Removes what the tool has left in the system. Called once a boot, before the first attempt.
    EFI_STATUS(EFIAPI* Cleanup)(KelmForgelineProvisioningProtocol* This);
    void* Reserved8;
    // Takes the tool's partition off the bus.
    EFI_STATUS(EFIAPI* DetachPartition)(KelmForgelineProvisioningProtocol* This);
    // Sends the collected inventory to the management controller. The argument is always 0.
    EFI_STATUS(EFIAPI* SendInventory)(KelmForgelineProvisioningProtocol* This, UINTN reserved);
};
static_assert(sizeof(KelmForgelineProvisioningProtocol) == 11 * sizeof(void*));

template <>
struct ProtocolGuid<KelmForgelineProvisioningProtocol> {
    static constexpr const EFI_GUID& value = gKelmForgelineProvisioningProtocolGuid;
};
