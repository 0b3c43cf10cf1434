// Checks a blade against its chassis. Absent on servers that are no blades.
#pragma once

#include "uefi/Base.h"

// {8597FDE8-CC18-4748-99D4-44DE209399E5}
inline constexpr EFI_GUID gKelmBladeChassisDxeProtocolGuid = {
    0x8597FDE8, 0xCC18, 0x4748, {0x99, 0xD4, 0x44, 0xDE, 0x20, 0x93, 0x99, 0xE5}};

struct KelmBladeChassisDxeProtocol {
    void* Reserved0;
    void* Reserved1;
    // Runs the check; the provider reports what it finds.
    EFI_STATUS(EFIAPI* CheckChassis)(KelmBladeChassisDxeProtocol* This);
};
static_assert(sizeof(KelmBladeChassisDxeProtocol) == 3 * sizeof(void*));

template <>
struct ProtocolGuid<KelmBladeChassisDxeProtocol> {
    static constexpr const EFI_GUID& value = gKelmBladeChassisDxeProtocolGuid;
};
