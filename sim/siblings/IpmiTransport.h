// The IPMI transport to the management controller, answering by the machine file's script. It is
// installed by the controller driver, when BDS asks for it and not before.
#pragma once

#include "kelm/IpmiTransportProtocol.h"
#include "sim/siblings/AnswerScript.h"
#include "sim/siblings/ProtocolTable.h"

#include <vector>

namespace sim {

// A request as the controller received it.
struct IpmiRequest {
    UINT8 netFunction;
    UINT8 lun;
    UINT8 command;
    std::vector<UINT8> data;
};

class IpmiTransport final : public Sibling {
public:
    // Reads "controller"; throws MachineFileError.
    explicit IpmiTransport(Platform& owner);
    void Install() override {} // see InstallTransport

    // Makes the transport available; again when it is: nothing.
    void InstallTransport();
    bool Installed() const { return installed_; }

    // Everything that was sent so far, in order.
    const std::vector<IpmiRequest>& Requests() const { return requests_; }

private:
    EFI_STATUS SendCommand(UINT8 netFunction, UINT8 lun, UINT8 command, const UINT8* request,
                           UINT8 requestSize, UINT8* response, UINT8* responseSize);

    AnswerScript script_;
    std::uint64_t latency_;
    bool installed_ = false;
    std::vector<IpmiRequest> requests_;
    ProtocolTable<KelmIpmiTransportProtocol, "KelmIpmiTransportProtocol"> protocol_;
};

} // namespace sim
