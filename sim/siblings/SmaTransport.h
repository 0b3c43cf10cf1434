// The SMA command transport to the management controller, answering by the machine file's script:
// an entry's "request" is how the payload behind the header must begin, its "response" the bytes
// that the caller receives. A single-part entry without a response answers well-formed and without
// data.
#pragma once

#include "kelm/NimborSmaProtocol.h"
#include "sim/siblings/AnswerScript.h"
#include "sim/siblings/ProtocolTable.h"

#include <vector>

namespace sim {

struct SmaRequest {
    UINT16 command;
    std::vector<UINT8> payload;
    bool multipart;
};

class SmaTransport final : public Sibling {
public:
    // Reads "controller"; throws MachineFileError.
    explicit SmaTransport(Platform& owner);
    void Install() override;

    // Everything that was sent so far, in order; malformed single-part requests are left out.
    const std::vector<SmaRequest>& Requests() const { return requests_; }

private:
    EFI_STATUS SendSmaIpmiCommand(const UINT8* request, UINT16 requestSize, UINT8* response,
                                  UINT16* responseSize);
    EFI_STATUS SendSmaIpmiMTCommand(UINT16 command, const UINT8* payload, UINT32 payloadLength,
                                    UINT8** response, UINT32* responseLength);
    // Waits for the controller; nullptr when it does not know the command.
    ScriptedAnswer* Ask(UINT16 command, std::span<const UINT8> payload, bool multipart);
    void TraceCall(UINT16 command, std::span<const UINT8> request, std::span<const UINT8> response,
                   bool multipart, EFI_STATUS status);

    AnswerScript script_;
    std::uint64_t latency_;
    std::vector<SmaRequest> requests_;
    ProtocolTable<KelmNimborSmaProtocol, "KelmNimborSmaProtocol"> protocol_;
};

} // namespace sim
