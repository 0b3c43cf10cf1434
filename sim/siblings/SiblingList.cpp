// Which siblings a machine has, in the order in which they are installed.
#include "sim/devices/Devices.h"
#include "sim/siblings/AttributeService.h"
#include "sim/siblings/Board.h"
#include "sim/siblings/BootMenu.h"
#include "sim/siblings/ConfigurationRequests.h"
#include "sim/siblings/Controller.h"
#include "sim/siblings/DeferredImages.h"
#include "sim/siblings/DeviceLocations.h"
#include "sim/siblings/Diagnostics.h"
#include "sim/siblings/DriverHealth.h"
#include "sim/siblings/FirmwareServices.h"
#include "sim/siblings/ForgelineTool.h"
#include "sim/siblings/HiiDatabase.h"
#include "sim/siblings/IpmiTransport.h"
#include "sim/siblings/Passwords.h"
#include "sim/siblings/PlatformConsole.h"
#include "sim/siblings/PlatformSteps.h"
#include "sim/siblings/PostMessages.h"
#include "sim/siblings/RamDiskService.h"
#include "sim/siblings/Reporting.h"
#include "sim/siblings/SetupBrowser.h"
#include "sim/siblings/SmaTransport.h"
#include "sim/siblings/Splash.h"
#include "uefi/Pcd.h"
#include "uefi/WatchdogTimerArch.h"

namespace sim {

namespace {

template <class... Siblings>
void Make(Platform& platform, std::vector<std::unique_ptr<Sibling>>& siblings) {
    (siblings.push_back(std::make_unique<Siblings>(platform)), ...);
}

} // namespace

std::vector<std::unique_ptr<Sibling>> MakeSiblings(Platform& platform) {
    std::vector<std::unique_ptr<Sibling>> siblings;
    Make<CallBook, DebugLog, StatusCodes, Performance, VariablePolicy, Processors, SmmCommunication,
         HiiDatabase, AttributeService, BoardInfo, PlatformPolicy, Cpld, SpiFlash, Splash,
         Controller, IpmiTransport, SmaTransport, SmaJobs, DeviceLocations, PostMessages, Passwords,
         PlatformSteps, ForgelineTool, SetupBrowser, BootMenu, Diagnostics, IdModule,
         AutomatedConfiguration, PlatformConsole, Devices, RamDiskService, DeferredImages,
         DriverHealth>(platform, siblings);
    return siblings;
}

const std::vector<SiblingProtocol>& AllSiblingProtocols() {
    static const std::vector<SiblingProtocol> kProtocols = {
        // The firmware core installs these itself.
        {"Pcd", gEfiPcdProtocolGuid},
        {"GetPcdInfo", gEfiGetPcdInfoProtocolGuid},
        {"WatchdogTimer", gEfiWatchdogTimerArchProtocolGuid},

        {"KelmDebugLogProtocol", gKelmDebugLogProtocolGuid},
        {"StatusCode", gEfiStatusCodeRuntimeProtocolGuid},
        {"KelmPerformanceProtocol", gKelmPerformanceProtocolGuid},
        {"VariablePolicy", gEdkiiVariablePolicyProtocolGuid},
        {"MpServices", gEfiMpServiceProtocolGuid},
        {"SmmCommunication", gEfiSmmCommunicationProtocolGuid},
        {"HiiDatabase", gEfiHiiDatabaseProtocolGuid},
        {"HiiString", gEfiHiiStringProtocolGuid},
        {"KelmAttributeProtocol", gKelmAttributeProtocolGuid},
        {"KelmSecondaryAttributeReader", gKelmSecondaryAttributeReaderGuid},
        {"KelmBoardInfoProtocol", gKelmBoardInfoProtocolGuid},
        {"KelmPlatformPolicyProtocol", gKelmPlatformPolicyProtocolGuid},
        {"KelmCpldProtocol", gKelmCpldProtocolGuid},
        {"KelmCpldLockProtocol", gKelmCpldLockProtocolGuid},
        {"KelmSpiFlashProtocol", gKelmSpiFlashProtocolGuid},
        {"KelmEarlyVideoSplashProtocol", gKelmEarlyVideoSplashProtocolGuid},
        {"KelmNimborInitializeProtocol", gKelmNimborInitializeProtocolGuid},
        {"KelmNimborInstallIpmiProtocol", gKelmNimborInstallIpmiProtocolGuid},
        {"KelmNimborProtocol", gKelmNimborProtocolGuid},
        {"KelmNimborInfoProtocol", gKelmNimborInfoProtocolGuid},
        {"KelmNimborInterface", gKelmNimborInterfaceGuid},
        {"KelmPsuBootStatusProtocol", gKelmPsuBootStatusProtocolGuid},
        {"NimborHttpsBootCertMgmtProtocol", gKelmNimborHttpsBootCertMgmtProtocolGuid},
        {"NimborSecureBootMgmtProtocol", gKelmNimborSecureBootMgmtProtocolGuid},
        {"KelmIpmiTransportProtocol", gKelmIpmiTransportProtocolGuid},
        {"KelmNimborSmaProtocol", gKelmNimborSmaProtocolGuid},
        {"KelmSmaJobProtocol", gKelmSmaJobProtocolGuid},
        {"KelmDeviceLocationProtocol", gKelmDeviceLocationProtocolGuid},
        {"KelmPostMessageProtocol", gKelmPostMessageProtocolGuid},
        {"KelmPasswordProtocol", gKelmPasswordProtocolGuid},
        {"KelmEsrtInjectionProtocol", gKelmEsrtInjectionProtocolGuid},
        {"KelmVamProtocol", gKelmVamProtocolGuid},
        {"KelmPciPostEnumerationProtocol", gKelmPciPostEnumerationProtocolGuid},
        {"KelmPciDevice2Protocol", gKelmPciDevice2ProtocolGuid},
        {"KelmPcieSsdLocationProtocol", gKelmPcieSsdLocationProtocolGuid},
        {"KelmRipsProtocol", gKelmRipsProtocolGuid},
        {"KelmUsbEndOfPostProtocol", gKelmUsbEndOfPostProtocolGuid},
        {"KelmTxtEndOfPostProtocol", gKelmTxtEndOfPostProtocolGuid},
        {"KelmManufacturingModeProtocol", gKelmManufacturingModeProtocolGuid},
        {"KelmMemoryTestProtocol", gKelmMemoryTestProtocolGuid},
        {"KelmPlatformTpmProtocol", gKelmPlatformTpmProtocolGuid},
        {"KelmForgelineProvisioningProtocol", gKelmForgelineProvisioningProtocolGuid},
        {"KelmSetupLauncherProtocol", gKelmSetupLauncherProtocolGuid},
        {"KelmBootManagerProtocol", gKelmBootManagerProtocolGuid},
        {"KelmDiagnosticsProtocol", gKelmDiagnosticsProtocolGuid},
        {"KelmIdModuleProtocol", gKelmIdModuleProtocolGuid},
        {"KelmOemIdProtocol", gKelmOemIdProtocolGuid},
        {"KelmOemIdEndOfPostProtocol", gKelmOemIdEndOfPostProtocolGuid},
        {"KelmAciMProtocol", gKelmAciMProtocolGuid},
        {"KelmPlatformConsoleProtocol", gKelmPlatformConsoleProtocolGuid},
        {"RamDisk", gEfiRamDiskProtocolGuid},
        {"DriverHealth", gEfiDriverHealthProtocolGuid},
    };
    return kProtocols;
}

} // namespace sim
