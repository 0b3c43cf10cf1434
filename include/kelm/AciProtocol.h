// Automated configuration: attribute changes that the management side has left to be applied at the
// next boot.
#pragma once

#include "uefi/Base.h"

// {ACBD0C7C-9090-4E69-A325-9FF6F64DBC77}
inline constexpr EFI_GUID gKelmAciMProtocolGuid = {
    0xACBD0C7C, 0x9090, 0x4E69, {0xA3, 0x25, 0x9F, 0xF6, 0xF6, 0x4D, 0xBC, 0x77}};

struct KelmAciMProtocol {
    void* Reserved0;
    // EFI_SUCCESS: a request waits.
    EFI_STATUS(EFIAPI* CheckRequest)(KelmAciMProtocol* This);
    // Applies the request.
    EFI_STATUS(EFIAPI* ProcessRequest)(KelmAciMProtocol* This);
    // Reports what went wrong with an earlier request. EFI_NOT_FOUND: nothing did.
    EFI_STATUS(EFIAPI* ProcessErrors)(KelmAciMProtocol* This);
};
static_assert(sizeof(KelmAciMProtocol) == 4 * sizeof(void*));

template <>
struct ProtocolGuid<KelmAciMProtocol> {
    static constexpr const EFI_GUID& value = gKelmAciMProtocolGuid;
};
