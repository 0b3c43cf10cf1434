#include "sim/siblings/Controller.h"

#include "sim/firmware/Clock.h"
#include "sim/firmware/VariableService.h"
#include "sim/siblings/IpmiTransport.h"
#include "sim/siblings/MachineReader.h"
#include "uefi/RuntimeServices.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::uint64_t kDefaultSmaPort = 0xCA8;

// There when the secure-boot task of the machine file has been carried out.
constexpr char16_t kTaskDoneName[] = u"KelmSecureBootTaskDone";
// {B1E47D92-3C58-4F06-8A6D-52C9E07F1B34}
constexpr EFI_GUID kTaskDoneGuid = {
    0xb1e47d92, 0x3c58, 0x4f06, {0x8a, 0x6d, 0x52, 0xc9, 0xe0, 0x7f, 0x1b, 0x34}};
constexpr std::uint32_t kTaskDoneAttributes =
    EFI_VARIABLE_NON_VOLATILE | EFI_VARIABLE_BOOTSERVICE_ACCESS;

} // namespace

Controller::Controller(Platform& owner)
    : Sibling(owner),
      latency_(NumberAt(owner.machine, "/controller/latencyMicroseconds", 0)),
      initializeStatus_(StatusAt(owner.machine, "/controller/initializeStatus", EFI_SUCCESS)),
      installIpmiStatus_(StatusAt(owner.machine, "/controller/installIpmiStatus", EFI_SUCCESS)),
      psuStatus_(StatusAt(owner.machine, "/controller/psuBootStatus/status", EFI_SUCCESS)),
      psuBytes_(HexAt(owner.machine, "/controller/psuBootStatus/hex", kPsuBootStatusSize)) {
    if (!psuBytes_.empty() && psuBytes_.size() != kPsuBootStatusSize) {
        throw MachineFileError(owner.machine.file, "/controller/psuBootStatus/hex",
                               "expected 3 bytes");
    }
    info_.protocol.SmaInterfacePort =
        UINT16(NumberAt(owner.machine, "/controller/info/ioPort", kDefaultSmaPort, 0xFFFF));
    info_.protocol.F10Hidden = FlagAt(owner.machine, "/controller/info/f10Hidden", false);
    secureBootTaskPending = FlagAt(owner.machine, "/controller/secureBootPending", false) &&
                            owner.variables->Find(kTaskDoneName, kTaskDoneGuid) == nullptr;
}

void Controller::Install() {
    initialize_
        .Serve<"Initialize", &Controller::Initialize>(&KelmNimborInitializeProtocol::Initialize)
        .ReserveRest();
    installIpmi_
        .Serve<"InstallIpmi", &Controller::InstallIpmi>(&KelmNimborInstallIpmiProtocol::InstallIpmi)
        .ReserveRest();
    milestones_.Serve<"EarlyInit">(&KelmNimborProtocol::EarlyInit)
        .Serve<"LateInit">(&KelmNimborProtocol::LateInit)
        .Serve<"ProcessPostEvent">(&KelmNimborProtocol::ProcessPostEvent)
        .Serve<"EndOfPost">(&KelmNimborProtocol::EndOfPost)
        .Serve<"ReadyToBoot">(&KelmNimborProtocol::ReadyToBoot)
        .Serve<"BeforeImageStart">(&KelmNimborProtocol::BeforeImageStart)
        .Serve<"SendSataInfo">(&KelmNimborProtocol::SendSataInfo)
        .ReserveRest();
    psu_.Serve<"GetBootStatus", &Controller::GetBootStatus>(
        &KelmPsuBootStatusProtocol::GetBootStatus);
    certificates_.Serve<"SyncFromNimbor">(&NimborHttpsBootCertMgmtProtocol::SyncFromNimbor)
        .Serve<"SyncToNimbor">(&NimborHttpsBootCertMgmtProtocol::SyncToNimbor);
    secureBoot_
        .Serve<"GetPendingTask", &Controller::GetPendingSecureBootTask>(
            &NimborSecureBootMgmtProtocol::GetPendingTask)
        .Serve<"ProcessTask", &Controller::ProcessSecureBootTask>(
            &NimborSecureBootMgmtProtocol::ProcessTask);

    InstallTable(initialize_);
    InstallTable(installIpmi_);
    InstallTable(milestones_);
    InstallTable(info_);
    InstallTable(interface_);
    InstallTable(psu_);
    InstallTable(certificates_);
    InstallTable(secureBoot_);
}

EFI_STATUS Controller::Initialize() {
    platform.clock->Advance(latency_);
    return initializeStatus_;
}

EFI_STATUS Controller::InstallIpmi() {
    if (!EFI_ERROR(installIpmiStatus_)) {
        platform.Get<IpmiTransport>().InstallTransport();
    }
    return installIpmiStatus_;
}

EFI_STATUS Controller::GetBootStatus(KelmIpmiTransportProtocol*, UINT8* status) {
    if (status == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    std::copy(psuBytes_.begin(), psuBytes_.end(), status);
    return psuStatus_;
}

BOOLEAN Controller::GetPendingSecureBootTask() {
    return secureBootTaskPending;
}

EFI_STATUS Controller::ProcessSecureBootTask(BOOLEAN pending) {
    if (pending == FALSE) {
        return EFI_SUCCESS;
    }
    secureBootTaskPending = false;
    constexpr UINT8 done = 1;
    return platform.variables->Write(kTaskDoneName, kTaskDoneGuid, kTaskDoneAttributes, &done,
                                     sizeof(done));
}

SmaJobs::SmaJobs(Platform& owner)
    : Sibling(owner),
      pending(UINT32(NumberAt(owner.machine, "/controller/jobs/pending", 0, 0xFFFFFFFF))),
      status_(StatusAt(owner.machine, "/controller/jobs/status", EFI_SUCCESS)) {}

void SmaJobs::Install() {
    protocol_.Serve<"ProcessJob", &SmaJobs::ProcessJob>(&KelmSmaJobProtocol::ProcessJob)
        .Serve<"GetPendingJobs", &SmaJobs::GetPendingJobs>(&KelmSmaJobProtocol::GetPendingJobs)
        .Serve<"SendSmbiosToNimbor">(&KelmSmaJobProtocol::SendSmbiosToNimbor)
        .Serve<"SendScp">(&KelmSmaJobProtocol::SendScp);
    InstallTable(protocol_);
}

EFI_STATUS SmaJobs::ProcessJob(UINT32 jobFlags) {
    processed_.push_back(jobFlags);
    return status_;
}

BOOLEAN SmaJobs::GetPendingJobs(UINT32* pendingMask) {
    if (pendingMask != nullptr) {
        *pendingMask = pending;
    }
    return pending != 0;
}

} // namespace sim
