#include "services/SmaTransport.h"

#include "library/firmware/Measurement.h"
#include "library/firmware/Protocol.h"
#include "library/pure/Bytes.h"

#include <algorithm>

namespace kelm {

namespace {

constexpr char kModule[] = "SMA DXE";
constexpr UINTN kMaxPart = 0xFFFF;

EFI_STATUS LocateTransport(const CHAR8* caller, KelmNimborSmaProtocol*& transport) {
    if (EFI_ERROR(LocateProtocol(transport))) {
        DebugPrint(kDebugError, "[%a]: gKelmNimborSmaProtocolGuid not found\n", caller);
        return EFI_NOT_FOUND;
    }
    return EFI_SUCCESS;
}

} // namespace

std::span<const UINT8> SmaResponseData(std::span<const UINT8> response) {
    ByteReader reader(response);
    reader.Skip(kSmaResponseLengthOffset);
    const UINT16 length = reader.ReadU16();
    reader.Skip(kSmaResponseDataOffset - kSmaResponseLengthOffset - sizeof(length));
    const std::span<const UINT8> data = reader.ReadBytes(length);
    return reader.Ok() ? data : std::span<const UINT8>{};
}

EFI_STATUS BdsSendSmaCommand(const CHAR8* caller, const CHAR8* token, UINT16 command,
                             std::span<const UINT8> payload, std::span<UINT8> response,
                             UINT16* responseSize) {
    KelmNimborSmaProtocol* transport = nullptr;
    EFI_STATUS status = LocateTransport(caller, transport);
    if (EFI_ERROR(status)) {
        return status;
    }
    const UINTN requestSize = kSmaRequestHeaderSize + payload.size();
    if (requestSize > kMaxPart || response.size() > kMaxPart) {
        return EFI_INVALID_PARAMETER;
    }
    const PoolPtr<UINT8> request = AllocatePool<UINT8>(requestSize);
    if (!request) {
        return EFI_OUT_OF_RESOURCES;
    }
    ByteWriter writer({request.get(), requestSize});
    writer.WriteU16(command);
    writer.WriteU16(static_cast<UINT16>(payload.size()));
    writer.WriteBytes(payload);

    const UINT16 room = static_cast<UINT16>(response.size());
    UINT16 received = room;
    {
        const Measurement measurement(token, kModule);
        status = transport->SendSmaIpmiCommand(
            transport, request.get(), static_cast<UINT16>(requestSize), response.data(), &received);
    }
    *responseSize = status == EFI_BUFFER_TOO_SMALL ? received : std::min(received, room);
    return status;
}

EFI_STATUS BdsSendSmaMultiPartCommand(const CHAR8* caller, const CHAR8* token, UINT16 command,
                                      std::span<const UINT8> payload, PoolPtr<UINT8>& response,
                                      UINT32* responseLength) {
    response.reset();
    *responseLength = 0;
    KelmNimborSmaProtocol* transport = nullptr;
    EFI_STATUS status = LocateTransport(caller, transport);
    if (EFI_ERROR(status)) {
        return status;
    }
    if (payload.size() > 0xFFFFFFFF) {
        return EFI_INVALID_PARAMETER;
    }
    UINT32 length = 0;
    {
        const Measurement measurement(token, kModule);
        status = transport->SendSmaIpmiMTCommand(transport, command, payload.data(),
                                                 static_cast<UINT32>(payload.size()),
                                                 response.out(), &length);
    }
    if (response) {
        *responseLength = length;
    }
    return status;
}

} // namespace kelm
