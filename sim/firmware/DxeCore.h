// The tables through which the driver sees the platform: the system table with its configuration
// tables, and the boot, runtime and DXE services. The table functions check
// (Platform::EnterService) and hand on to the part that does the work; they stand in
// BootServices*.cpp, RuntimeServices.cpp and DxeServices.cpp, by topic.
#pragma once

#include "sim/firmware/MemorySpace.h"
#include "uefi/BootServices.h"
#include "uefi/DxeServices.h"
#include "uefi/RuntimeServices.h"
#include "uefi/SystemTable.h"

#include <string>
#include <vector>

namespace sim {

class Platform;

class DxeCore {
public:
    explicit DxeCore(Platform& platform);
    DxeCore(const DxeCore&) = delete;
    DxeCore& operator=(const DxeCore&) = delete;

    // Builds the tables in memory and has the consoles installed.
    void Install();

    EFI_SYSTEM_TABLE* SystemTable() const { return systemTable_; }
    EFI_BOOT_SERVICES* BootServices() const { return bootServices_; }
    EFI_RUNTIME_SERVICES* RuntimeServices() const { return runtimeServices_; }
    EFI_DXE_SERVICES* DxeServices() const { return dxeServices_; }

    // Whoever changes a field of the system table calls this: it makes the checksum right again.
    void SystemTableChanged();

    // UEFI InstallConfigurationTable().
    EFI_STATUS InstallConfigurationTable(const EFI_GUID& guid, void* table);
    // The table of that GUID, nullptr when there is none.
    void* ConfigurationTable(const EFI_GUID& guid) const;

    // PI ProcessFirmwareVolume(): the font volume of the machine, in flash or as a copy in memory.
    // Traces `firmware-volume`.
    EFI_STATUS ProcessFirmwareVolume(const void* header, UINTN size, EFI_HANDLE* handle);

    // What stands behind services of the tables.
    UINT64 NextMonotonicCount() { return ++monotonicCount_; }
    UINT64 NextHighMonotonicCount();
    EFI_TIME Time() const;
    void SetTime(const EFI_TIME& time);
    // In seconds, 0 switches off. EFI_UNSUPPORTED without a watchdog timer protocol.
    EFI_STATUS SetWatchdogTimer(UINTN seconds);
    // True the first time: the group that announces the end of boot services is signalled once.
    bool BeginsExitBootServices();
    // Traces `reset` and ends the boot.
    [[noreturn]] void Reset(EFI_RESET_TYPE type, EFI_STATUS status);

    MemorySpace memorySpace;

private:
    Platform& platform_;
    EFI_SYSTEM_TABLE* systemTable_ = nullptr;
    EFI_BOOT_SERVICES* bootServices_ = nullptr;
    EFI_RUNTIME_SERVICES* runtimeServices_ = nullptr;
    EFI_DXE_SERVICES* dxeServices_ = nullptr;
    UINT64 monotonicCount_;
    UINT64 secondsAtPowerOn_;
    bool exitsBootServices_ = false;
    bool fontVolumePresent_ = true;
    EFI_STATUS fontVolumeStatus_ = EFI_SUCCESS;
};

// Fill the tables with the functions of one topic each.
void FillPriorityAndEventServices(EFI_BOOT_SERVICES& table);
void FillMemoryServices(EFI_BOOT_SERVICES& table);
void FillProtocolServices(EFI_BOOT_SERVICES& table);
void FillImageServices(EFI_BOOT_SERVICES& table);
void FillMiscellaneousServices(EFI_BOOT_SERVICES& table);
void FillRuntimeServices(EFI_RUNTIME_SERVICES& table);
void FillDxeServices(EFI_DXE_SERVICES& table);

} // namespace sim
