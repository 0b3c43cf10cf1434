// The phases of a boot, written down a second time from what the driver is meant to do: title, log
// line, and the condition in terms of a few values. Tests compare the driver's table with it.
#pragma once

#include "kelm/BootTaskTypes.h"

#include <functional>
#include <string>
#include <vector>

namespace kelm::test {

struct Moment {
    int task = 0; // of BootTask
    bool configurationBoot = false;
    bool ssmEnumerate = false;
    unsigned smaJobType = 0;
    int manufacturingMode = 0;
    bool comPortsSwapped = false;
    bool liquidCoolingBypass = false;
    bool biosBoot = false;
    bool vmd = false;
};

struct ExpectedPhase {
    std::string title;
    std::string line; // "=": the title; "": the phase writes its own or none
    std::function<bool(const Moment&)> runs = [](const Moment&) { return true; };
};

inline const std::vector<ExpectedPhase>& ExpectedPhases() {
    using M = const Moment&;
    static const std::vector<ExpectedPhase> phases = {
        {"[BDS] ESRT Table injection", "="},
        {"[BDS] Check vAC Request", "="},
        {"[BDS] Early Init", "="},
        {"[BDS] Nimbor Early Init", "="},
        {"[BDS] Send Nimbor Win 5x5 PID", "="},
        {"[BDS] Forgeline init", "="},
        {"[BDS] Init VAM", "="},
        {"[BDS] PCI Enum", "="},
        {"[BDS] Nimbor Late Init / SMA", "="},
        {"TelemetrySendQueuedLogs", ""},
        {"[BDS] IPMI Boot Option Init", "="},
        {"[BDS] EndOfDxe/SmmReadyToLock", "="},
        {"[BDS] Dispatch deferred images", "="},
        {"[BDS] Connect Consoles", "="},
        {"[BDS] Process Capsules / RBU", "="},
        {"[BDS] Set Boot Task", "="},
        {"[BDS] Start Pause Key", "="},
        {"[BDS] NDC Init", "="},
        {"[BDS] Check OS TPM Requests", "="},
        {"[BDS] MFG Mode Init", "="},
        {"[BDS] Send FW info to Nimbor", "="},
        {"[BDS] Handle Https Cert Bios/Nimbor sync", "="},
        {"[BDS] Special Boot task handling", ""},
        {"[BDS] Detach Forgeline Partition", "="},
        {"[BDS] Check System Password", "=",
         [](M m) { return m.task != 2 && m.task != 3 && m.task != 4 && m.task != 15; }},
        {"[BDS] Build Early SMBIOS Tables", "="},
        {"[BDS] Send Nimbor PCIe SSD Bay & Slot IDs", "="},
        {"[BDS] Init DLP", "="},
        {"[BDS] Check Config Lockdown", "="},
        {"[BDS] Send Nimbor USB Config", "="},
        {"[BDS] Check Service Tag", "=",
         [](M m) { return m.manufacturingMode == 0 && (m.smaJobType & 1) == 0; }},
        {"[BDS] Hotkey Enabled", "=", [](M m) { return !m.configurationBoot && m.task != 3; }},
        {"[BDS] Check Password Jumper", "="},
        {"[BDS] Process Asset Tag", "="},
        {"Check Liquid Cooling Config", "[BDS] Check Liquid Cooling Config",
         [](M m) {
             return m.manufacturingMode == 0 && !m.liquidCoolingBypass && (m.smaJobType & 1) == 0;
         }},
        {"[BDS] Mem Test", ""},
        {"[BDS] Nimbor Process POST Event", "="},
        {"[BDS] Init RIPS", "="},
        {"[BDS] Register DLP Event", "[BDS] Register DLP Event for updating DLP after ConnectAll."},
        {"[BDS] Program CPU VR", "="},
        {"[BDS] NVMe Unlock Status Check", "="},
        {"[BDS] Connect All", "[BDS] Connect All Controllers"},
        {"[BDS] NVME Preboot Hotplug - Enabled", "[BDS] Enable NVME Preboot Hotplug",
         [](M m) { return !m.vmd; }},
        {"[BDS] NVME Preboot Hotplug - Disabled", "[BDS] Disable NVME Preboot Hotplug",
         [](M m) { return m.vmd; }},
        {"[BDS] Send Nimbor SATA Info", "="},
        {"[BDS] Check Secure Boot Pending Task", "="},
        {"[BDS] Nimbor SIO Config", "=", [](M m) { return m.comPortsSwapped; }},
        {"[BDS] MFG Mode Set PXE", ""},
        {"[BDS] Process OEM ID", "=", [](M m) { return m.task == 1; }},
        {"[BDS] Build SMBIOS Tables", "="},
        {"[BDS] Report TPM Error", "="},
        {"[BDS] Connect iSCSI", "=", [](M m) { return !m.biosBoot; }},
        {"[BDS] Connect NVMe-oF", "=", [](M m) { return !m.biosBoot; }},
        {"[BDS] Hotkey Stop", "=", [](M m) { return !m.configurationBoot; }},
        {"[BDS] Enum Boot Options", "=",
         [](M m) { return !m.configurationBoot || m.ssmEnumerate; }},
        {"[BDS] Usb/Tpm/Txt EndOfPost", "[BDS] USB/TPM/TXT End of POST"},
        {"[BDS] Blade Chassis Check", "="},
        {"[BDS] Process SMA RTD", "=", [](M m) { return m.task == 12; }},
        {"[BDS] Nimbor Power Supply Status", "="},
        {"[BDS] Nimbor End Of Post", "="},
        {"[BDS] Process SMA Config Task", "=", [](M m) { return m.task == 15; }},
        {"[BDS] Process SMA BIOS Task(SYSERASE)", "="},
        {"[BDS] Process SMA BIOS Task(CONFIG_SET)", "="},
        {"[BDS] Process ACI Request", "[BDS] Process ACI", [](M m) { return m.task == 5; }},
        {"[BDS] Process ACI Errors", "[BDS] Process ACI errors (if any)"},
        {"[BDS] OEM ID EndOfPost", "="},
        {"[BDS] Secure Boot State Check", "="},
        {"[BDS] RIPS Report Error", "="},
        {"[BDS] Stop Pause Key", "="},
        {"[BDS] Check Password Dis Message", "="},
        {"[BDS] Process POST Errors", "="},
        {"[BDS] Enable Video Write Combining", "="},
        {"[BDS] Disable APIC Timer", "="},
        {"[BDS] Process Hot Keys", "="},
        {"[BDS] Process IPMI Boot if Requested", "=", [](M m) { return m.task == 6; }},
        {"[BDS] Process Forgeline SSM/GUI/BSP", ""},
        {"[BDS] Extended POST", ""},
        {"[BDS] Process One Time Boot", "=",
         [](M m) {
             return !m.configurationBoot || m.task == 5 || (m.task == 15 && m.smaJobType == 4);
         }},
    };
    return phases;
}

} // namespace kelm::test
