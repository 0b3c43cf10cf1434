// One IPMI request to the management controller and its answer, over the host interface that the
// platform has. The transport serialises commands. Network functions, commands and request bytes
// stand in kelm/IpmiCommands.h.
#pragma once

#include "uefi/Base.h"

// {0C0B1046-E781-43D0-8640-991845057257}
inline constexpr EFI_GUID gKelmIpmiTransportProtocolGuid = {
    0x0C0B1046, 0xE781, 0x43D0, {0x86, 0x40, 0x99, 0x18, 0x45, 0x05, 0x72, 0x57}};

struct KelmIpmiTransportProtocol {
    void* Reserved0;
    // Sends a command and waits for the answer. Both buffers are the caller's. *responseSize is the
    // room on entry and the number of bytes received on return, the completion code included.
    // EFI_BUFFER_TOO_SMALL: *responseSize is what is needed; sending again may repeat the command.
    // EFI_TIMEOUT, EFI_DEVICE_ERROR: no usable answer.
    EFI_STATUS(EFIAPI* SendCommand)
    (KelmIpmiTransportProtocol* This, UINT8 netFunction, UINT8 lun, UINT8 command,
     const UINT8* request, UINT8 requestSize, UINT8* response, UINT8* responseSize);
};
static_assert(sizeof(KelmIpmiTransportProtocol) == 2 * sizeof(void*));

template <>
struct ProtocolGuid<KelmIpmiTransportProtocol> {
    static constexpr const EFI_GUID& value = gKelmIpmiTransportProtocolGuid;
};
