// The driver's state: plain records, one for each module, in one place.
//
// Nothing survives from an earlier boot in the same process: the entry calls ResetDriverState
// before anything else. Values that belong to several modules stand in BootState; a module's
// private state stands in a record of its own and is touched by that module only.
#pragma once

#include "kelm/BootTaskTypes.h"
#include "kelm/PlaceholderGuids.h"
#include "uefi/Base.h"

struct KelmAttributeProtocol;
struct KelmBdsInterfaceProtocol;
struct KelmDeviceLocationProtocol;
struct KelmPasswordProtocol;
struct KelmPlatformPolicyProtocol;

namespace kelm {

// What this boot is for, and what guards the phases.
struct BootState {
    UINT32 bootMode = kBootModeUefi;
    BootTask bootTask = BootTask::Normal;
    HotKey hotKey = HotKey::None;
    bool configurationBoot = false; // only applies a configuration, then resets
    UINT32 smaJobType = SmaJobTypeNone;
    ForgelineRequest forgelineRequest = ForgelineRequest::Disabled;
    bool forgelineSsmEnumerate = false; // a system-configuration request wants boot options
    bool secureBootTaskPending = false;
    bool comPortsSwapped = false;
    bool hotKeysProcessing = false;
    bool hotKeysDone = false;
    UINT8 nullPageDetection = 0; // non-zero: page 0 is kept unmapped to catch null pointers
    bool inventoryRebuildRequested = false;
    bool splashActive = true;      // the splash screen covers the console
    bool rebrandRequested = false; // by the ID module
    bool debrandRequested = false;
};

struct CoreState {
    EFI_HANDLE bdsArchHandle = nullptr;
    EFI_HANDLE interfaceHandle = nullptr;
    EFI_HANDLE hookHandle = nullptr; // carries every hook point protocol
    UINTN hooksInstalled = 0;        // on that handle
    EFI_HANDLE fontFvHandle = nullptr;
    KelmPlatformPolicyProtocol* platformPolicy = nullptr; // kept once found
    EFI_EVENT exitBootEvent = nullptr;                    // open until boot services end
    EFI_EVENT readyToBootEvent = nullptr;
};

struct ServicesState {
    KelmAttributeProtocol* attributes = nullptr; // as attribute comparisons keep it
    bool controllerReadyToBoot = false;          // the controller heard of it in this boot
};

struct StringsState {
    void* packageList = nullptr; // HII handle of the driver's strings
};

struct ConsoleState {
    UINTN wrapColumn = 0;     // 0: text is written as it stands
    bool errOutFirst = false; // ErrOut is connected, and before the other consoles
};

struct LaunchState {
    bool imageStartActive = false; // a boot image runs
    bool bootAttempted = false;
    UINT16 lastBootResult = 0;    // kLastBoot...
    UINT32 manufacturingMode = 0; // as of this boot attempt
    UINT64 pageZeroCr0 = 0;       // CR0 before page 0 was made accessible
};

struct PostState {
    KelmPasswordProtocol* passwords = nullptr; // kept until a lookup or a call fails
};

struct NetworkState {
    EFI_HANDLE placeholders[kNetworkBootPlaceholderCount] = {};
};

// Both are located on first use and kept.
struct BootOptState {
    KelmDeviceLocationProtocol* deviceLocation = nullptr;
    KelmBdsInterfaceProtocol* bdsInterface = nullptr; // the driver's own
};

struct DriverState {
    BootState boot;
    CoreState core;
    ServicesState services;
    StringsState strings;
    ConsoleState console;
    LaunchState launch;
    PostState post;
    NetworkState network;
    BootOptState bootOpt;
};

extern DriverState gDriver;

// Puts every record into its initial state.
void ResetDriverState();

} // namespace kelm
