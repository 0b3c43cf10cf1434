#include "sim/siblings/ForgelineTool.h"

#include "sim/siblings/MachineReader.h"

namespace sim {

namespace {

constexpr std::uint64_t kConfigurationTime = 2'000'000; // microseconds
constexpr char kPartitionPlace[] = "/forgeline/servicePartition";

std::optional<UINT16> ReadServicePartition(const MachineDescription& machine) {
    if (machine.At(kPartitionPlace).is_null()) {
        return std::nullopt;
    }
    return UINT16(NumberAt(machine, kPartitionPlace, 0, 0xFFFF));
}

} // namespace

ForgelineTool::ForgelineTool(Platform& owner)
    : Sibling(owner),
      request(UINT32(NumberAt(owner.machine, "/forgeline/request", 0, 0xFFFFFFFF))),
      flags(UINT32(NumberAt(owner.machine, "/forgeline/flags", 0, 0xFFFFFFFF))),
      servicePartition(ReadServicePartition(owner.machine)),
      leaving_(ReadToolLeaving(owner.machine, "/forgeline")),
      unattended_{leaving_.after.value_or(kConfigurationTime), leaving_.resets} {}

void ForgelineTool::Install() {
    using P = KelmForgelineProvisioningProtocol;
    protocol_.Serve<"GetRequest", &ForgelineTool::GetRequest>(&P::GetRequest)
        .Serve<"LaunchCsior">(&P::LaunchCsior)
        .Serve<"Launch", &ForgelineTool::Launch>(&P::Launch)
        .Serve<"PrepareServicePartition", &ForgelineTool::PrepareServicePartition>(
            &P::PrepareServicePartition)
        .Serve<"Cleanup">(&P::Cleanup)
        .Serve<"DetachPartition">(&P::DetachPartition)
        .Serve<"SendInventory">(&P::SendInventory)
        .ReserveRest();
    InstallTable(protocol_);
}

EFI_STATUS ForgelineTool::GetRequest(UINT32* outRequest, UINT32* outFlags) {
    if (outRequest == nullptr || outFlags == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *outRequest = request;
    *outFlags = flags;
    return EFI_SUCCESS;
}

EFI_STATUS ForgelineTool::Launch() {
    const bool configures = request == UINT32(ForgelineRequest::SystemConfiguration);
    ToolScreen screen(platform, configures ? unattended_ : leaving_);
    ToolPage& page = screen.page();
    page.title = u"Forgeline";
    if (configures) {
        page.Add("Applying the system configuration. Please wait...");
    } else {
        page.foot = u"Esc: Exit";
        page.Add("Settings");
        page.Add("Firmware Update");
        page.Add("OS Deployment");
    }
    screen.ShowUntilLeft();
    screen.Leave();
    return EFI_SUCCESS;
}

EFI_STATUS ForgelineTool::PrepareServicePartition(UINT16* optionNumber, EFI_HANDLE* partition) {
    if ((optionNumber == nullptr) == (partition == nullptr)) {
        return EFI_INVALID_PARAMETER;
    }
    if (optionNumber == nullptr || !servicePartition) {
        return EFI_NOT_FOUND;
    }
    *optionNumber = *servicePartition;
    return EFI_SUCCESS;
}

} // namespace sim
