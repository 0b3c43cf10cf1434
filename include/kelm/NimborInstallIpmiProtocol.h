// Second step of bringing the management controller up: makes the transport of
// kelm/IpmiTransportProtocol.h available. Nothing may look that protocol up before.
#pragma once

#include "uefi/Base.h"

// {535AE951-8EC1-437D-9A90-9183FD208FA3}
inline constexpr EFI_GUID gKelmNimborInstallIpmiProtocolGuid = {
    0x535AE951, 0x8EC1, 0x437D, {0x9A, 0x90, 0x91, 0x83, 0xFD, 0x20, 0x8F, 0xA3}};

struct KelmNimborInstallIpmiProtocol {
    void* Reserved0;
    // Installs the IPMI transport protocol. An error leaves the boot without a transport.
    EFI_STATUS(EFIAPI* InstallIpmi)(KelmNimborInstallIpmiProtocol* This);
};
static_assert(sizeof(KelmNimborInstallIpmiProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<KelmNimborInstallIpmiProtocol> {
    static constexpr const EFI_GUID& value = gKelmNimborInstallIpmiProtocolGuid;
};
