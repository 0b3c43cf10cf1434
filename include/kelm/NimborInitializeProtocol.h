// First step of bringing the management controller up: wait until it answers. Called before
// kelm/NimborInstallIpmiProtocol.h and kelm/NimborProtocol.h.
#pragma once

#include "uefi/Base.h"

// {D3D3AA65-F139-4395-9532-EC39E1BD98E7}
inline constexpr EFI_GUID gKelmNimborInitializeProtocolGuid = {
    0xD3D3AA65, 0xF139, 0x4395, {0x95, 0x32, 0xEC, 0x39, 0xE1, 0xBD, 0x98, 0xE7}};

struct KelmNimborInitializeProtocol {
    void* Reserved0;
    // An error means that the controller is not ready; the boot goes on without it.
    EFI_STATUS(EFIAPI* Initialize)(KelmNimborInitializeProtocol* This);
};
static_assert(sizeof(KelmNimborInitializeProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<KelmNimborInitializeProtocol> {
    static constexpr const EFI_GUID& value = gKelmNimborInitializeProtocolGuid;
};
