#include "services/IpmiTransport.h"

#include "library/firmware/Protocol.h"

#include <algorithm>

namespace kelm {

namespace {

constexpr UINTN kMaxRequest = 0xFF;

constexpr UINTN AtLeastOne(UINTN size) {
    return std::max<UINTN>(size, 1); // a command without data still gets a buffer to point at
}

} // namespace

EFI_STATUS BdsLocateIpmiTransport(KelmIpmiTransportProtocol** transport) {
    return LocateProtocolOrLog(*transport,
                               "Error !!! Unable to locate KelmIpmiTransportProtocolGuid.\n");
}

EFI_STATUS BdsSendIpmiCommandOn(KelmIpmiTransportProtocol* transport, UINT8 netFunction,
                                UINT8 command, std::span<const UINT8> request, UINT8 responseSize,
                                IpmiResponse& response) {
    response = {};
    if (request.size() > kMaxRequest) {
        return EFI_INVALID_PARAMETER;
    }
    const PoolPtr<UINT8> requestBuffer = AllocateZeroPool<UINT8>(AtLeastOne(request.size()));
    PoolPtr<UINT8> responseBuffer = AllocateZeroPool<UINT8>(AtLeastOne(responseSize));
    if (!requestBuffer || !responseBuffer) {
        return EFI_OUT_OF_RESOURCES;
    }
    std::copy(request.begin(), request.end(), requestBuffer.get());
    UINT8 received = responseSize;
    const EFI_STATUS status =
        transport->SendCommand(transport, netFunction, kIpmiLun, command, requestBuffer.get(),
                               static_cast<UINT8>(request.size()), responseBuffer.get(), &received);
    if (status == EFI_BUFFER_TOO_SMALL) {
        response.size = received; // no bytes come with it
        return status;
    }
    response.bytes = std::move(responseBuffer);
    response.size = std::min(received, responseSize);
    return status;
}

EFI_STATUS BdsSendIpmiCommand(UINT8 netFunction, UINT8 command, std::span<const UINT8> request,
                              UINT8 responseSize, IpmiResponse& response) {
    response = {};
    KelmIpmiTransportProtocol* transport = nullptr;
    const EFI_STATUS status = BdsLocateIpmiTransport(&transport);
    if (EFI_ERROR(status)) {
        return status;
    }
    return BdsSendIpmiCommandOn(transport, netFunction, command, request, responseSize, response);
}

} // namespace kelm
