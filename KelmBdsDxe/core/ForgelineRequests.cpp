// What the Forgeline tool asks of a boot, other than to show itself.

#include "core/DriverState.h"
#include "core/Forgeline.h"
#include "core/HookPoints.h"
#include "core/Progress.h"
#include "kelm/BootAttemptProtocols.h"
#include "kelm/ForgelineProvisioningProtocol.h"
#include "kelm/HookPoints.h"
#include "kelm/Variables.h"
#include "library/firmware/Measurement.h"
#include "library/firmware/Protocol.h"
#include "services/SmaJobService.h"
#include "uefi/GlobalVariable.h"

namespace kelm {

namespace {

// The tool, provided that it made this request.
KelmForgelineProvisioningProtocol* ToolWithRequest(ForgelineRequest request) {
    return gDriver.boot.forgelineRequest == request ? gDriver.forgeline.service : nullptr;
}

EFI_STATUS BootUefiServicePartition(KelmForgelineProvisioningProtocol* tool) {
    UINT16 optionNumber = 0;
    const EFI_STATUS status = tool->PrepareServicePartition(tool, &optionNumber, nullptr);
    if (EFI_ERROR(status)) {
        return status;
    }
    return gRT->SetVariable(const_cast<CHAR16*>(kBootNextName), &gEfiGlobalVariableGuid,
                            kVariableNonVolatileRuntime, sizeof(optionNumber), &optionNumber);
}

EFI_STATUS BootLegacyServicePartition(KelmForgelineProvisioningProtocol* tool) {
    EFI_HANDLE partition = nullptr;
    EFI_STATUS status = tool->PrepareServicePartition(tool, nullptr, &partition);
    if (EFI_ERROR(status)) {
        return status;
    }
    KelmLegacyPartitionBootProtocol* boot = nullptr;
    status = LocateService(boot);
    return EFI_ERROR(status) ? status : boot->Boot(boot, partition);
}

} // namespace

EFI_STATUS BdsProcessSsm() {
    auto* tool = ToolWithRequest(ForgelineRequest::SystemConfiguration);
    if (tool == nullptr) {
        return EFI_NOT_FOUND;
    }
    BdsReportProgress(kProgressSystemConfiguration);
    BdsSignalHookPoint(gKelmHookBeforeForgelineGuid);
    return tool->Launch(tool);
}

EFI_STATUS BdsBootServicePartition() {
    auto* tool = ToolWithRequest(ForgelineRequest::ServicePartition);
    if (tool == nullptr) {
        return EFI_NOT_FOUND;
    }
    return gDriver.boot.bootMode == kBootModeUefi ? BootUefiServicePartition(tool)
                                                  : BootLegacyServicePartition(tool);
}

EFI_STATUS BdsSendInventory() {
    auto* tool = gDriver.forgeline.service;
    if (tool == nullptr) {
        return EFI_NOT_FOUND;
    }
    EFI_STATUS status = EFI_SUCCESS;
    {
        const Measurement measurement("SendInventoryToNimbor", "BDS");
        status = tool->SendInventory(tool, 0);
    }
    if (gDriver.boot.bootTask == BootTask::SmaJob) {
        static_cast<void>(BdsSmaProcessJob(kSmaProcessInventorySent));
    }
    const Measurement measurement("Csior", "BDS");
    if (ToolWithRequest(ForgelineRequest::Inventory) != nullptr) {
        BdsReportProgress(kProgressCollectInventory);
        static_cast<void>(tool->LaunchCsior(tool));
    }
    return status;
}

} // namespace kelm
