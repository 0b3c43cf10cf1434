// The tools that BDS can enter: the Forgeline provisioning tool, setup, the boot menu and the
// diagnostics. None of them shows anything: entering one returns at once, as if the user had left
// it.
#pragma once

#include "kelm/BootManagerProtocol.h"
#include "kelm/DiagnosticsProtocol.h"
#include "kelm/ForgelineProvisioningProtocol.h"
#include "kelm/SetupLauncherProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <optional>
#include <vector>

namespace sim {

class Tools final : public Sibling {
public:
    // Reads "forgeline"; throws MachineFileError.
    explicit Tools(Platform& owner);
    void Install() override;

    UINT32 forgelineRequest;
    UINT32 forgelineFlags;
    std::optional<UINT16> servicePartitionOption; // absent: there is no service partition
    std::vector<UINTN> setupMenus;                // menus of the setup launches, in order
    std::vector<UINT8> bootManagerLaunches;       // "configuration boot" arguments, in order

private:
    EFI_STATUS GetRequest(UINT32* request, UINT32* flags);
    EFI_STATUS PrepareServicePartition(UINT16* optionNumber, EFI_HANDLE* partition);
    EFI_STATUS LaunchSetup(UINTN menu, UINTN* result);
    EFI_STATUS LaunchBootManager(UINT8 configurationBoot);

    ProtocolTable<KelmForgelineProvisioningProtocol, "KelmForgelineProvisioningProtocol">
        forgeline_;
    ProtocolTable<KelmSetupLauncherProtocol, "KelmSetupLauncherProtocol"> setup_;
    ProtocolTable<KelmBootManagerProtocol, "KelmBootManagerProtocol"> bootManager_;
    ProtocolTable<KelmDiagnosticsProtocol, "KelmDiagnosticsProtocol"> diagnostics_;
};

} // namespace sim
