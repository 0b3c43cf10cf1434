// Processes update capsules that were staged before this boot.
#pragma once

#include "uefi/Base.h"

// {815DCB80-998B-4CA8-943D-57CD6B862EA3}
inline constexpr EFI_GUID gKelmProcessCapsuleProtocolGuid = {
    0x815DCB80, 0x998B, 0x4CA8, {0x94, 0x3D, 0x57, 0xCD, 0x6B, 0x86, 0x2E, 0xA3}};

struct KelmProcessCapsuleProtocol {
    // Takes no argument. May reset the system instead of returning.
    EFI_STATUS(EFIAPI* ProcessCapsulesEarly)();
};
static_assert(sizeof(KelmProcessCapsuleProtocol) == 1 * sizeof(void*));

template <>
struct ProtocolGuid<KelmProcessCapsuleProtocol> {
    static constexpr const EFI_GUID& value = gKelmProcessCapsuleProtocolGuid;
};
