// Runs the built-in diagnostics.
#pragma once

#include "uefi/Base.h"

// {F9C15D8D-9082-4CFB-A767-BA41FA44B72C}
inline constexpr EFI_GUID gKelmDiagnosticsProtocolGuid = {
    0xF9C15D8D, 0x9082, 0x4CFB, {0xA7, 0x67, 0xBA, 0x41, 0xFA, 0x44, 0xB7, 0x2C}};

struct KelmDiagnosticsProtocol {
    // Starts the diagnostics; returns when they are left.
    EFI_STATUS(EFIAPI* Launch)(KelmDiagnosticsProtocol* This);
};
static_assert(sizeof(KelmDiagnosticsProtocol) == 1 * sizeof(void*));

template <>
struct ProtocolGuid<KelmDiagnosticsProtocol> {
    static constexpr const EFI_GUID& value = gKelmDiagnosticsProtocolGuid;
};
