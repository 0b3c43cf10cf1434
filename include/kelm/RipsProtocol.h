// The redundant internal SD module (RIPS): started before the controllers are connected, asked for
// its errors at the end of POST.
#pragma once

#include "uefi/Base.h"

// {218CC27C-D170-4FD8-9A43-46FE5FDEBFCE}
inline constexpr EFI_GUID gKelmRipsProtocolGuid = {
    0x218CC27C, 0xD170, 0x4FD8, {0x9A, 0x43, 0x46, 0xFE, 0x5F, 0xDE, 0xBF, 0xCE}};

struct KelmRipsProtocol {
    // Starts the module.
    EFI_STATUS(EFIAPI* Initialize)(KelmRipsProtocol* This);
    // Registers POST messages for what went wrong with the module.
    EFI_STATUS(EFIAPI* ReportError)(KelmRipsProtocol* This);
};
static_assert(sizeof(KelmRipsProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<KelmRipsProtocol> {
    static constexpr const EFI_GUID& value = gKelmRipsProtocolGuid;
};
