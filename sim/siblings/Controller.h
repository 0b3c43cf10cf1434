// The management controller's driver: the two start-up steps, the milestones, the data that it
// shares with BDS, the job engine, the power-supply status and the controller's managers for
// certificates and secure boot. The transports have files of their own.
#pragma once

#include "kelm/HttpsCertProtocol.h"
#include "kelm/NimborInfoProtocol.h"
#include "kelm/NimborInitializeProtocol.h"
#include "kelm/NimborInstallIpmiProtocol.h"
#include "kelm/NimborInterface.h"
#include "kelm/NimborProtocol.h"
#include "kelm/PsuBootStatusProtocol.h"
#include "kelm/SecureBootMgmtProtocol.h"
#include "kelm/SmaJobProtocol.h"
#include "sim/siblings/ProtocolTable.h"

#include <vector>

namespace sim {

class Controller final : public Sibling {
public:
    // Reads "controller"; throws MachineFileError. A secure-boot task that an earlier power-on with
    // this store carried out does not wait again: that is kept in the non-volatile variable
    // KelmSecureBootTaskDone.
    explicit Controller(Platform& owner);
    void Install() override;

    const KelmNimborInterface& SharedState() const { return interface_.protocol; }
    bool secureBootTaskPending = false; // answered by the secure-boot manager

private:
    EFI_STATUS Initialize();
    EFI_STATUS InstallIpmi();
    EFI_STATUS GetBootStatus(KelmIpmiTransportProtocol* transport, UINT8* status);
    BOOLEAN GetPendingSecureBootTask();
    EFI_STATUS ProcessSecureBootTask(BOOLEAN pending);

    std::uint64_t latency_;
    EFI_STATUS initializeStatus_;
    EFI_STATUS installIpmiStatus_;
    EFI_STATUS psuStatus_;
    std::vector<std::uint8_t> psuBytes_; // empty: leaves what the caller read
    ProtocolTable<KelmNimborInitializeProtocol, "KelmNimborInitializeProtocol"> initialize_;
    ProtocolTable<KelmNimborInstallIpmiProtocol, "KelmNimborInstallIpmiProtocol"> installIpmi_;
    ProtocolTable<KelmNimborProtocol, "KelmNimborProtocol"> milestones_;
    ProtocolTable<KelmNimborInfoProtocol, "KelmNimborInfoProtocol"> info_;
    ProtocolTable<KelmNimborInterface, "KelmNimborInterface"> interface_;
    ProtocolTable<KelmPsuBootStatusProtocol, "KelmPsuBootStatusProtocol"> psu_;
    ProtocolTable<NimborHttpsBootCertMgmtProtocol, "NimborHttpsBootCertMgmtProtocol"> certificates_;
    ProtocolTable<NimborSecureBootMgmtProtocol, "NimborSecureBootMgmtProtocol"> secureBoot_;
};

// The jobs that the controller has queued.
class SmaJobs final : public Sibling {
public:
    // Reads "controller/jobs"; throws MachineFileError.
    explicit SmaJobs(Platform& owner);
    void Install() override;

    // The flags of every ProcessJob call, in order.
    const std::vector<UINT32>& Processed() const { return processed_; }
    UINT32 pending = 0; // the mask that waits

private:
    EFI_STATUS ProcessJob(UINT32 jobFlags);
    BOOLEAN GetPendingJobs(UINT32* pendingMask);

    EFI_STATUS status_;
    std::vector<UINT32> processed_;
    ProtocolTable<KelmSmaJobProtocol, "KelmSmaJobProtocol"> protocol_;
};

} // namespace sim
