// What the memory drivers say about testing memory in this boot. The test itself is run through the
// generic memory test protocol of the PI standard; this service only reports a state.
#pragma once

#include "uefi/Base.h"

// {B85C7ECD-660D-4C2F-9717-4C63C13D4BCD}
inline constexpr EFI_GUID gKelmMemoryTestProtocolGuid = {
    0xB85C7ECD, 0x660D, 0x4C2F, {0x97, 0x17, 0x4C, 0x63, 0xC1, 0x3D, 0x4B, 0xCD}};

// The memory was tested before BDS; the POST test must not run in full.
inline constexpr UINT32 kMemoryTestAlreadyDone = 2;

struct KelmMemoryTestProtocol {
    // The state; only kMemoryTestAlreadyDone means something to BDS.
    UINT32(EFIAPI* GetState)(KelmMemoryTestProtocol* This);
};
static_assert(sizeof(KelmMemoryTestProtocol) == 1 * sizeof(void*));

template <>
struct ProtocolGuid<KelmMemoryTestProtocol> {
    static constexpr const EFI_GUID& value = gKelmMemoryTestProtocolGuid;
};
