// Adds the platform's firmware resources to the EFI system resource table. The first thing that BDS
// does, where the provider is present.
#pragma once

#include "uefi/Base.h"

// {A340C064-723C-4A9C-A4DD-D5B47A26FBB0}
inline constexpr EFI_GUID gKelmEsrtInjectionProtocolGuid = {
    0xA340C064, 0x723C, 0x4A9C, {0xA4, 0xDD, 0xD5, 0xB4, 0x7A, 0x26, 0xFB, 0xB0}};

struct KelmEsrtInjectionProtocol {
    void* Reserved0;
    void* Reserved1;
    void* Reserved2;
    void* Reserved3;
    // Builds the entries from the variables of one namespace (the system's). Takes that argument
    // only, not the protocol.
    EFI_STATUS(EFIAPI* Inject)(const EFI_GUID* variableNamespace);
};
static_assert(sizeof(KelmEsrtInjectionProtocol) == 5 * sizeof(void*));

template <>
struct ProtocolGuid<KelmEsrtInjectionProtocol> {
    static constexpr const EFI_GUID& value = gKelmEsrtInjectionProtocolGuid;
};
