#include "sim/siblings/PlatformSteps.h"

#include "sim/siblings/MachineReader.h"

namespace sim {

PlatformSteps::PlatformSteps(Platform& owner)
    : Sibling(owner),
      manufacturingMode(UINT32(NumberAt(owner.machine, "/manufacturing/mode", 0, 0xFFFFFFFF))),
      memoryTestState(UINT32(NumberAt(owner.machine, "/memoryTest/state", 0, 0xFFFFFFFF))),
      esrtPresent_(FlagAt(owner.machine, "/esrt/present", true)) {}

void PlatformSteps::Install() {
    using Steps = PlatformSteps;
    esrt_.Serve<"Inject", &Steps::InjectEsrt>(&KelmEsrtInjectionProtocol::Inject).ReserveRest();
    vam_.Serve<"Initialize">(&KelmVamProtocol::Initialize);
    postEnumeration_
        .Serve<"GetVersion", &Steps::GetPostEnumerationVersion>(
            &KelmPciPostEnumerationProtocol::GetVersion)
        .Serve<"ProcessDevices">(&KelmPciPostEnumerationProtocol::ProcessDevices)
        .ReserveRest();
    pciDevice_.Serve<"ProcessDevices">(&KelmPciDevice2Protocol::ProcessDevices)
        .Serve<"GetVideoControllers", &Steps::GetVideoControllers>(
            &KelmPciDevice2Protocol::GetVideoControllers)
        .Serve<"OnboardVideoStopped">(&KelmPciDevice2Protocol::OnboardVideoStopped)
        .ReserveRest();
    pcieSsd_.Serve<"SendToNimbor">(&KelmPcieSsdLocationProtocol::SendToNimbor)
        .Serve<"CollectBays">(&KelmPcieSsdLocationProtocol::CollectBays)
        .Serve<"CollectSlots">(&KelmPcieSsdLocationProtocol::CollectSlots)
        .ReserveRest();
    rips_.Serve<"Initialize">(&KelmRipsProtocol::Initialize)
        .Serve<"ReportError">(&KelmRipsProtocol::ReportError);
    usbEndOfPost_.Serve<"EndOfPost">(&KelmUsbEndOfPostProtocol::EndOfPost).ReserveRest();
    txtEndOfPost_.Serve<"EndOfPost">(&KelmTxtEndOfPostProtocol::EndOfPost).ReserveRest();
    manufacturing_.Serve<"Initialize">(&KelmManufacturingModeProtocol::Initialize)
        .Serve<"GetMode", &Steps::GetManufacturingMode>(&KelmManufacturingModeProtocol::GetMode)
        .Serve<"LeavePost">(&KelmManufacturingModeProtocol::LeavePost)
        .Serve<"SetPxe">(&KelmManufacturingModeProtocol::SetPxe)
        .ReserveRest();
    memoryTest_.Serve<"GetState", &Steps::GetMemoryTestState>(&KelmMemoryTestProtocol::GetState);
    tpm_.Serve<"MeasureBootPath">(&KelmPlatformTpmProtocol::MeasureBootPath)
        .Serve<"GetFirmwareInfo", EFI_NOT_FOUND>(&KelmPlatformTpmProtocol::GetFirmwareInfo)
        .Serve<"ProcessOsRequests", &Steps::ProcessTpmRequests>(
            &KelmPlatformTpmProtocol::ProcessOsRequests)
        .Serve<"ReportError">(&KelmPlatformTpmProtocol::ReportError)
        .Serve<"ReportConfigurationError">(&KelmPlatformTpmProtocol::ReportConfigurationError)
        .Serve<"EarlyInit">(&KelmPlatformTpmProtocol::EarlyInit)
        // The TPM of this machine does not give its firmware identity away.
        .Serve<"IsFirmwareInfoSupported", EFI_UNSUPPORTED>(
            &KelmPlatformTpmProtocol::IsFirmwareInfoSupported)
        .ReserveRest();

    if (esrtPresent_) {
        InstallTable(esrt_);
    }
    InstallTable(vam_);
    InstallTable(postEnumeration_);
    InstallTable(pciDevice_);
    InstallTable(pcieSsd_);
    InstallTable(rips_);
    InstallTable(usbEndOfPost_);
    InstallTable(txtEndOfPost_);
    InstallTable(manufacturing_);
    InstallTable(memoryTest_);
    InstallTable(tpm_);
}

EFI_STATUS PlatformSteps::InjectEsrt(const EFI_GUID* variableNamespace) {
    if (variableNamespace == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    esrtNamespace = *variableNamespace;
    return EFI_SUCCESS;
}

UINT32 PlatformSteps::GetManufacturingMode() {
    return manufacturingMode;
}
UINT32 PlatformSteps::GetMemoryTestState() {
    return memoryTestState;
}
UINT64 PlatformSteps::GetPostEnumerationVersion() {
    return postEnumerationVersion;
}

EFI_STATUS PlatformSteps::GetVideoControllers(EFI_HANDLE* onboard, EFI_HANDLE* addin) {
    if (onboard == nullptr || addin == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *onboard = onboardVideo;
    *addin = addinVideo;
    return EFI_SUCCESS;
}

EFI_STATUS PlatformSteps::ProcessTpmRequests(UINT32 noUpdatePending) {
    tpmRequests.push_back(noUpdatePending);
    return EFI_SUCCESS;
}

} // namespace sim
