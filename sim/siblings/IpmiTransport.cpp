#include "sim/siblings/IpmiTransport.h"

#include "sim/firmware/Clock.h"
#include "sim/firmware/TraceText.h"
#include "sim/siblings/MachineReader.h"

#include <cstring>

namespace sim {

namespace {

constexpr UINT8 kInvalidCommand[] = {0xC1}; // completion code of a command the controller lacks

} // namespace

IpmiTransport::IpmiTransport(Platform& owner)
    : Sibling(owner),
      script_(owner.machine, "/controller/ipmi", AnswerScript::Kind::Ipmi),
      latency_(NumberAt(owner.machine, "/controller/latencyMicroseconds", 0)) {
    protocol_
        .Serve<"SendCommand", &IpmiTransport::SendCommand, false>(
            &KelmIpmiTransportProtocol::SendCommand)
        .ReserveRest();
}

void IpmiTransport::InstallTransport() {
    if (!installed_) {
        installed_ = true;
        InstallTable(protocol_);
    }
}

EFI_STATUS IpmiTransport::SendCommand(UINT8 netFunction, UINT8 lun, UINT8 command,
                                      const UINT8* request, UINT8 requestSize, UINT8* response,
                                      UINT8* responseSize) {
    if ((request == nullptr && requestSize != 0) || responseSize == nullptr ||
        (response == nullptr && *responseSize != 0)) {
        return EFI_INVALID_PARAMETER;
    }
    requests_.push_back({netFunction, lun, command, {request, request + requestSize}});
    ScriptedAnswer* answer = script_.Find(netFunction, command, {request, requestSize});

    // The boot may end while the controller thinks.
    platform.clock->Advance(latency_ + (answer != nullptr ? answer->delay : 0));

    std::span<const UINT8> bytes;
    if (answer == nullptr) {
        bytes = kInvalidCommand;
    } else if (answer->response) {
        bytes = *answer->response;
    }
    EFI_STATUS status = answer != nullptr ? answer->status : EFI_SUCCESS;
    // A caller that offers no room wants no bytes: the status is all there is to know.
    const UINT8 room = *responseSize;
    if (room != 0 && bytes.size() > room) {
        *responseSize = UINT8(bytes.size());
        status = EFI_BUFFER_TOO_SMALL;
        bytes = {};
    } else {
        bytes = room == 0 ? std::span<const UINT8>() : bytes;
        *responseSize = UINT8(bytes.size());
        if (!bytes.empty()) {
            std::memcpy(response, bytes.data(), bytes.size());
        }
        if (answer != nullptr) {
            answer->used++;
        }
    }
    platform.trace.Record("ipmi", {{"netfn", netFunction},
                                   {"lun", lun},
                                   {"command", command},
                                   {"request", ToHex(request, requestSize)},
                                   {"response", ToHex(bytes.data(), bytes.size())},
                                   {"status", StatusText(status)}});
    return status;
}

} // namespace sim
