// The Forgeline provisioning tool: what it wants of the boot is what the machine file says.
#pragma once

#include "kelm/BootTaskTypes.h"
#include "kelm/ForgelineProvisioningProtocol.h"
#include "sim/siblings/ProtocolTable.h"
#include "sim/siblings/ToolScreen.h"

#include <optional>

namespace sim {

class ForgelineTool final : public Sibling {
public:
    // Reads "forgeline"; throws MachineFileError.
    explicit ForgelineTool(Platform& owner);
    void Install() override;

    UINT32 request; // a ForgelineRequest; answered as it stands
    UINT32 flags;
    std::optional<UINT16> servicePartition; // its boot option; absent: there is none

private:
    EFI_STATUS GetRequest(UINT32* outRequest, UINT32* outFlags);
    EFI_STATUS Launch();
    EFI_STATUS PrepareServicePartition(UINT16* optionNumber, EFI_HANDLE* partition);

    ToolLeaving leaving_;
    ToolLeaving unattended_; // carrying out a system configuration
    ProtocolTable<KelmForgelineProvisioningProtocol, "KelmForgelineProvisioningProtocol"> protocol_;
};

} // namespace sim
