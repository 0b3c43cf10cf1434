// What the phases do, where a phase is more than one call. Each function is the body of the row of
// the phase table that names it.
#pragma once

namespace kelm {

// Early phases and the controller.
void InjectEsrt();
void CheckVacRequest();
void TellTpmEarlyInit();
void NimborEarlyInit();
void InitializeVam();
void EnumeratePci();
void ConnectConsoles();
void SetBootTask();
void CheckOsTpmRequests();
void InitializeManufacturing();
void SyncHttpsCertificates();
void HandleSpecialBootTask();
void SendPcieSsdLocations();

// POST.
void LogServiceTagSkipped();
void MemTest();
void DropOneBootMemoryRequest();
void InitializeRips();
void SendMasterWriteRead();
void ConnectAllControllers();
void NvmePrebootHotplug();
void CheckSecureBootPendingTask();
void SignalConfigurationBoot();
void ProcessOemId();
void ReportTpmError();
void EnumerateOptions();
void CheckAciShutdown();
void SignalUsbTxtEndOfPost();
void BladeChassisCheck();

// Requests and the end of POST.
void ProcessSmaResetToDefaults();
void NimborEndOfPost();
void ProcessSmaConfigTask();
void ProcessSmaSystemErase();
void ProcessSmaConfigurationSet();
void ProcessAci();
void ReportRipsError();
void StopPauseKey();
void SetConsoleAttribute();
void ProcessPostErrors();
void ProcessHotKeys();
void ProcessControllerBoot();
void ProcessForgelineRequests();
void ResetAfterSecureBootTask();
void ResetAfterConfigurationBoot();
[[noreturn]] void DefaultBootForever();

} // namespace kelm
