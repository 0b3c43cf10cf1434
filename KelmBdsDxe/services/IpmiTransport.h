// IPMI commands to the management controller through the transport protocol, which exists once the
// controller has been started. Commands and layouts stand in kelm/IpmiCommands.h.
#pragma once

#include "kelm/IpmiCommands.h"
#include "kelm/IpmiTransportProtocol.h"
#include "library/firmware/Pool.h"
#include "uefi/Base.h"

#include <span>

namespace kelm {

// An answer; the bytes are pool memory. `size` counts the bytes received, or those that the
// transport asks for.
struct IpmiResponse {
    PoolPtr<UINT8> bytes;
    UINT8 size = 0;

    // Empty when no bytes came with the status.
    std::span<const UINT8> data() const {
        return bytes ? std::span<const UINT8>(bytes.get(), size) : std::span<const UINT8>();
    }
};

// Finds the transport; a missing one is logged. Statuses as LocateProtocol.
EFI_STATUS BdsLocateIpmiTransport(KelmIpmiTransportProtocol** transport);

// Sends one command to LUN 0 and receives at most `responseSize` bytes. EFI_OUT_OF_RESOURCES: no
// memory; EFI_INVALID_PARAMETER: more than 255 request bytes; EFI_BUFFER_TOO_SMALL: `response.size`
// is the size that the transport asks for; otherwise the transport's status.
EFI_STATUS BdsSendIpmiCommandOn(KelmIpmiTransportProtocol* transport, UINT8 netFunction,
                                UINT8 command, std::span<const UINT8> request, UINT8 responseSize,
                                IpmiResponse& response);

// Finds the transport and sends one command through it; a missing transport is logged.
EFI_STATUS BdsSendIpmiCommand(UINT8 netFunction, UINT8 command, std::span<const UINT8> request,
                              UINT8 responseSize, IpmiResponse& response);

} // namespace kelm
