// Who else may ask a boot to change the server's configuration: the ID module with the OEM identity
// and the automated configuration. A machine has them when its file has their sections.
#pragma once

#include "kelm/AciProtocol.h"
#include "kelm/OemIdProtocols.h"
#include "sim/siblings/ProtocolTable.h"

#include <string>

namespace sim {

class IdModule final : public Sibling {
public:
    // Reads "idModule"; throws MachineFileError.
    explicit IdModule(Platform& owner);
    void Install() override;

    std::string request; // "none", "rebrand" or "debrand"

private:
    UINT8 IsRebrandRequested() { return request == "rebrand"; }
    UINT8 IsDebrandRequested() { return request == "debrand"; }

    bool present_;
    ProtocolTable<KelmIdModuleProtocol, "KelmIdModuleProtocol"> module_;
    ProtocolTable<KelmOemIdProtocol, "KelmOemIdProtocol"> branding_;
    ProtocolTable<KelmOemIdEndOfPostProtocol, "KelmOemIdEndOfPostProtocol"> endOfPost_;
};

class AutomatedConfiguration final : public Sibling {
public:
    // Reads "aci"; throws MachineFileError.
    explicit AutomatedConfiguration(Platform& owner);
    void Install() override;

    bool pending;

private:
    EFI_STATUS CheckRequest() { return pending ? EFI_SUCCESS : EFI_NOT_FOUND; }
    EFI_STATUS ProcessRequest();

    bool present_;
    ProtocolTable<KelmAciMProtocol, "KelmAciMProtocol"> protocol_;
};

} // namespace sim
