// Keeps the certificates for HTTPS boot in step between the BIOS and the management controller.
#pragma once

#include "uefi/Base.h"

// {F06D6347-6482-4C05-78A0-8E0C00C9B581}
inline constexpr EFI_GUID gKelmNimborHttpsBootCertMgmtProtocolGuid = {
    0xF06D6347, 0x6482, 0x4C05, {0x78, 0xA0, 0x8E, 0x0C, 0x00, 0xC9, 0xB5, 0x81}};

struct NimborHttpsBootCertMgmtProtocol {
    // Brings the BIOS store in line with the controller's.
    EFI_STATUS(EFIAPI* SyncFromNimbor)();
    // Reports the BIOS store to the controller. Called right after SyncFromNimbor.
    EFI_STATUS(EFIAPI* SyncToNimbor)();
};
static_assert(sizeof(NimborHttpsBootCertMgmtProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<NimborHttpsBootCertMgmtProtocol> {
    static constexpr const EFI_GUID& value = gKelmNimborHttpsBootCertMgmtProtocolGuid;
};
