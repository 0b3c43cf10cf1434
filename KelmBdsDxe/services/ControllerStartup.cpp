#include "services/ControllerStartup.h"

#include "core/DriverState.h"
#include "kelm/NimborInfoProtocol.h"
#include "kelm/NimborInitializeProtocol.h"
#include "kelm/NimborInstallIpmiProtocol.h"
#include "kelm/NimborInterface.h"
#include "kelm/NimborProtocol.h"
#include "library/cpu/Cpu.h"
#include "library/firmware/Protocol.h"

namespace kelm {

namespace {

using NimborMember = EFI_STATUS (EFIAPI* KelmNimborProtocol::*)(KelmNimborProtocol*);

EFI_STATUS CallNimbor(NimborMember member) {
    KelmNimborProtocol* nimbor = nullptr;
    const EFI_STATUS status =
        LocateProtocolOrLog(nimbor, "Error !!! Unable to locate KelmNimborProtocol.\n");
    if (EFI_ERROR(status)) {
        return status;
    }
    return (nimbor->*member)(nimbor);
}

void InitializeController() {
    KelmNimborInitializeProtocol* initialize = nullptr;
    if (!EFI_ERROR(LocateProtocolOrLog(
            initialize, "Error !!! Unable to locate KelmNimborInitializeProtocol.\n")) &&
        EFI_ERROR(initialize->Initialize(initialize))) {
        DebugPrint(kDebugError, "Error !!! BMC is not ready.\n");
    }
}

void InstallIpmiTransport() {
    KelmNimborInstallIpmiProtocol* install = nullptr;
    if (!EFI_ERROR(LocateProtocolOrLog(
            install, "Error !!! Unable to locate KelmNimborInstallIpmiProtocol.\n")) &&
        EFI_ERROR(install->InstallIpmi(install))) {
        DebugPrint(kDebugError, "Error !!! NimborInstallIpmi interface returns errors.\n");
    }
}

EFI_STATUS LocateInterface(KelmNimborInterface*& interface) {
    return LocateProtocolOrLog(interface,
                               "Error!!! Unable to locate KelmNimborInterface protocol.\n");
}

} // namespace

void BdsStartController() {
    InitializeController();
    InstallIpmiTransport();
    static_cast<void>(BdsNimborEarlyInit());
}

EFI_STATUS BdsNimborEarlyInit() {
    return CallNimbor(&KelmNimborProtocol::EarlyInit);
}

EFI_STATUS BdsNimborLateInit() {
    return CallNimbor(&KelmNimborProtocol::LateInit);
}

EFI_STATUS BdsNimborProcessPostEvent() {
    return CallNimbor(&KelmNimborProtocol::ProcessPostEvent);
}

EFI_STATUS BdsNimborSendSataInfo() {
    return CallNimbor(&KelmNimborProtocol::SendSataInfo);
}

EFI_STATUS BdsNimborEndOfPost() {
    return CallNimbor(&KelmNimborProtocol::EndOfPost);
}

EFI_STATUS BdsNimborReadyToBoot() {
    if (gDriver.services.controllerReadyToBoot) {
        return EFI_SUCCESS;
    }
    gDriver.services.controllerReadyToBoot = true;
    return CallNimbor(&KelmNimborProtocol::ReadyToBoot);
}

EFI_STATUS BdsNimborBeforeImageStart() {
    return CallNimbor(&KelmNimborProtocol::BeforeImageStart);
}

EFI_STATUS BdsCloseSmaInterface() {
    KelmNimborInfoProtocol* info = nullptr;
    EFI_STATUS status = LocateService(info);
    if (EFI_ERROR(status)) {
        return status;
    }
    IoWrite8(info->SmaInterfacePort, kSmaInterfaceCloseByte);
    KelmNimborInterface* interface = nullptr;
    status = LocateInterface(interface);
    if (EFI_ERROR(status)) {
        return status;
    }
    interface->SmaInterfaceClosed = 1;
    return EFI_SUCCESS;
}

EFI_STATUS BdsCountControllerCommandFailure() {
    KelmNimborInterface* interface = nullptr;
    const EFI_STATUS status = LocateInterface(interface);
    if (EFI_ERROR(status)) {
        return status;
    }
    ++interface->CommandFailureCount;
    return EFI_SUCCESS;
}

} // namespace kelm
