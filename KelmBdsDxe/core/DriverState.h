// The driver's state: plain records, one for each module, in one place.
//
// Nothing survives from an earlier boot in the same process: the entry calls ResetDriverState
// before anything else. Values that belong to several modules stand in BootState; a module's
// private state stands in a record of its own and is touched by that module only.
#pragma once

#include "core/KeyWatch.h"
#include "kelm/BootTaskTypes.h"
#include "kelm/PlaceholderGuids.h"
#include "uefi/Base.h"

struct KelmAttributeProtocol;
struct KelmBdsInterfaceProtocol;
struct KelmDeviceLocationProtocol;
struct KelmForgelineProvisioningProtocol;
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
    bool platformPolicyMissing = false;                   // and that was logged
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
    // What the messages of the running or last display mean for the prompt.
    bool promptRequired = false;
    bool promptForced = false; // also when the setting turns prompts off
    bool infoShown = false;
    bool fatalError = false;
};

struct NetworkState {
    EFI_HANDLE placeholders[kNetworkBootPlaceholderCount] = {};
};

// Both are located on first use and kept.
struct BootOptState {
    KelmDeviceLocationProtocol* deviceLocation = nullptr;
    KelmBdsInterfaceProtocol* bdsInterface = nullptr; // the driver's own
};

struct ForgelineState {
    KelmForgelineProvisioningProtocol* service = nullptr; // null: there is no tool in this boot
    bool cleanedUp = false;
};

struct HotKeyState {
    KeyWatch watch;
    EFI_EVENT timer = nullptr;  // fires when the user has had the time for a key
    bool windowOpened = false;  // there was a keyboard
    bool f10Suppressed = false; // as of the last prompt
};

struct PauseKeyState {
    KeyWatch watch;
    EFI_EVENT hold = nullptr; // its notification holds POST
    bool paused = false;
};

struct MgmtState {
    bool rci2TableBuilt = false; // or tried
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
    ForgelineState forgeline;
    HotKeyState hotKeys;
    PauseKeyState pauseKey;
    MgmtState mgmt;
};

extern DriverState gDriver;

// Puts every record into its initial state.
void ResetDriverState();

} // namespace kelm
