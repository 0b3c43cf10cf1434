#include "sim/siblings/Tools.h"

#include "sim/siblings/MachineReader.h"

namespace sim {

Tools::Tools(Platform& owner)
    : Sibling(owner),
      forgelineRequest(UINT32(NumberAt(owner.machine, "/forgeline/request", 0, 0xFFFFFFFF))),
      forgelineFlags(UINT32(NumberAt(owner.machine, "/forgeline/flags", 0, 0xFFFFFFFF))) {}

void Tools::Install() {
    using P = KelmForgelineProvisioningProtocol;
    forgeline_.Serve<"GetRequest", &Tools::GetRequest>(&P::GetRequest)
        .Serve<"LaunchCsior">(&P::LaunchCsior)
        .Serve<"Launch">(&P::Launch)
        .Serve<"PrepareServicePartition", &Tools::PrepareServicePartition>(
            &P::PrepareServicePartition)
        .Serve<"Cleanup">(&P::Cleanup)
        .Serve<"DetachPartition">(&P::DetachPartition)
        .Serve<"SendInventory">(&P::SendInventory)
        .ReserveRest();
    setup_.Serve<"Launch", &Tools::LaunchSetup>(&KelmSetupLauncherProtocol::Launch).ReserveRest();
    bootManager_.Serve<"Launch", &Tools::LaunchBootManager>(&KelmBootManagerProtocol::Launch)
        .ReserveRest();
    diagnostics_.Serve<"Launch">(&KelmDiagnosticsProtocol::Launch);

    InstallTable(forgeline_);
    InstallTable(setup_);
    InstallTable(bootManager_);
    InstallTable(diagnostics_);
}

EFI_STATUS Tools::GetRequest(UINT32* request, UINT32* flags) {
    if (request == nullptr || flags == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *request = forgelineRequest;
    *flags = forgelineFlags;
    return EFI_SUCCESS;
}

EFI_STATUS Tools::PrepareServicePartition(UINT16* optionNumber, EFI_HANDLE* partition) {
    if ((optionNumber == nullptr) == (partition == nullptr)) {
        return EFI_INVALID_PARAMETER;
    }
    if (optionNumber == nullptr || !servicePartitionOption) {
        return EFI_NOT_FOUND;
    }
    *optionNumber = *servicePartitionOption;
    return EFI_SUCCESS;
}

EFI_STATUS Tools::LaunchSetup(UINTN menu, UINTN* result) {
    setupMenus.push_back(menu);
    if (result != nullptr) {
        *result = 0;
    }
    return EFI_SUCCESS;
}

EFI_STATUS Tools::LaunchBootManager(UINT8 configurationBoot) {
    bootManagerLaunches.push_back(configurationBoot);
    return EFI_SUCCESS;
}

} // namespace sim
