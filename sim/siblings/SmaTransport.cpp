#include "sim/siblings/SmaTransport.h"

#include "library/pure/Bytes.h"
#include "sim/firmware/Clock.h"
#include "sim/firmware/TraceText.h"
#include "sim/firmware/Violations.h"
#include "sim/siblings/MachineReader.h"

#include <cstring>

namespace sim {

SmaTransport::SmaTransport(Platform& owner)
    : Sibling(owner),
      script_(owner.machine, "/controller/sma", AnswerScript::Kind::Sma),
      latency_(NumberAt(owner.machine, "/controller/latencyMicroseconds", 0)) {}

void SmaTransport::Install() {
    using P = KelmNimborSmaProtocol;
    protocol_
        .Serve<"SendSmaIpmiCommand", &SmaTransport::SendSmaIpmiCommand, false>(
            &P::SendSmaIpmiCommand)
        .Serve<"SendSmaIpmiMTCommand", &SmaTransport::SendSmaIpmiMTCommand, false>(
            &P::SendSmaIpmiMTCommand)
        .ReserveRest();
    InstallTable(protocol_);
}

ScriptedAnswer* SmaTransport::Ask(UINT16 command, std::span<const UINT8> payload, bool multipart) {
    requests_.push_back({command, {payload.begin(), payload.end()}, multipart});
    ScriptedAnswer* answer = script_.Find(0, command, payload);
    platform.clock->Advance(latency_ + (answer != nullptr ? answer->delay : 0));
    return answer;
}

EFI_STATUS SmaTransport::SendSmaIpmiCommand(const UINT8* request, UINT16 requestSize,
                                            UINT8* response, UINT16* responseSize) {
    if (request == nullptr || responseSize == nullptr ||
        (response == nullptr && *responseSize != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    kelm::ByteReader reader(request, requestSize);
    const UINT16 command = reader.ReadU16();
    const UINT16 length = reader.ReadU16();
    const std::span<const UINT8> whole(request, requestSize);
    if (!reader.Ok() || length != reader.Remaining()) {
        platform.violations->Record("SMA request whose header does not give its length");
        TraceCall(command, whole, {}, false, EFI_INVALID_PARAMETER);
        return EFI_INVALID_PARAMETER;
    }
    ScriptedAnswer* answer = Ask(command, whole.subspan(kSmaRequestHeaderSize), false);

    UINT8 empty[kSmaResponseDataOffset] = {UINT8(command), UINT8(command >> 8)};
    std::span<const UINT8> bytes;
    EFI_STATUS status = EFI_UNSUPPORTED; // a command that the controller lacks
    if (answer != nullptr) {
        status = answer->status;
        bytes = answer->response ? std::span<const UINT8>(*answer->response) : empty;
    }
    if (bytes.size() > *responseSize) {
        *responseSize = UINT16(bytes.size());
        status = EFI_BUFFER_TOO_SMALL;
        bytes = {};
    } else {
        *responseSize = UINT16(bytes.size());
        if (!bytes.empty()) {
            std::memcpy(response, bytes.data(), bytes.size());
        }
        if (answer != nullptr) {
            answer->used++;
        }
    }
    TraceCall(command, whole, bytes, false, status);
    return status;
}

EFI_STATUS SmaTransport::SendSmaIpmiMTCommand(UINT16 command, const UINT8* payload,
                                              UINT32 payloadLength, UINT8** response,
                                              UINT32* responseLength) {
    if ((payload == nullptr && payloadLength != 0) || response == nullptr ||
        responseLength == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    const std::span<const UINT8> sent(payload, payloadLength);
    ScriptedAnswer* answer = Ask(command, sent, true);
    std::span<const UINT8> bytes;
    EFI_STATUS status = EFI_UNSUPPORTED;
    if (answer != nullptr) {
        answer->used++;
        status = answer->status;
        bytes = answer->response ? std::span<const UINT8>(*answer->response) : bytes;
    }
    if (!EFI_ERROR(status)) {
        void* copy = platform.CopyToPool(bytes.data(), bytes.size(), "KelmNimborSmaProtocol");
        if (copy == nullptr) {
            status = EFI_OUT_OF_RESOURCES;
        } else {
            *response = static_cast<UINT8*>(copy);
            *responseLength = UINT32(bytes.size());
        }
    }
    TraceCall(command, sent, EFI_ERROR(status) ? std::span<const UINT8>() : bytes, true, status);
    return status;
}

void SmaTransport::TraceCall(UINT16 command, std::span<const UINT8> request,
                             std::span<const UINT8> response, bool multipart, EFI_STATUS status) {
    platform.trace.Record("sma", {{"command", command},
                                  {"request", ToHex(request.data(), request.size())},
                                  {"response", ToHex(response.data(), response.size())},
                                  {"multipart", multipart},
                                  {"status", StatusText(status)}});
}

} // namespace sim
