// What a boot is for, and who asked: the codes that BDS, the splash screen and the provisioning
// tool share. The numbers are fixed; they appear in log lines and in the tools' requests.
#pragma once

#include "uefi/Base.h"

enum class BootTask : UINT32 {
    Normal = 0,
    IdModule = 1,            // rebrand or debrand asked for by the ID module
    SystemConfiguration = 2, // Forgeline system configuration (SSM)
    ForgelineGui = 3,
    ServicePartition = 4,
    Aci = 5,            // attribute configuration request
    ControllerBoot = 6, // boot flags of the controller name a device
    RedirectionEnable = 7,
    RedirectionSuppress = 8,
    PreviousHotKey = 9,
    ForcePxe = 10,
    PreviousForgelineGui = 11,
    ResetToDefaults = 12,
    FvsManufacturing = 13,
    Manufacturing = 14,
    SmaJob = 15, // update, configuration or shutdown job of the controller
};
inline constexpr UINTN kBootTaskCount = 16;

enum class HotKey : UINT32 {
    None = 0,
    F2Setup = 1,
    F10Forgeline = 2,
    F11BootManager = 3,
    F12Pxe = 4,
};
inline constexpr UINTN kHotKeyCount = 5;

enum class ForgelineRequest : UINT32 {
    Available = 0, // no request
    Gui = 1,
    NotAvailable = 2,
    Disabled = 3, // also when the tool's protocol is missing or fails
    RecoveryMode = 4,
    SystemConfiguration = 5,
    Inventory = 6,
    ServicePartition = 7,
};

// Bits of the mask of jobs that the controller has queued (kelm/SmaJobProtocol.h).
enum SmaJobType : UINT32 {
    SmaJobTypeNone = 0,
    SmaJobTypeUpdate = 1u << 0,
    SmaJobTypeConfiguration = 1u << 1,
    SmaJobTypeShutdown = 1u << 2,
    SmaJobTypeSystemErase = 1u << 7,
};

// Mode in which the system boots.
inline constexpr UINT32 kBootModeUefi = 0;
inline constexpr UINT32 kBootModeBios = 1;

// What the last boot attempt left to report (0: nothing).
inline constexpr UINT16 kLastBootNothing = 0;
inline constexpr UINT16 kLastBootNoPxeDevice = 1;
inline constexpr UINT16 kLastBootFailed = 2;

// Level of the management controller, read from kPcdBmcType (kelm/PcdTokens.h).
inline constexpr UINT8 kBmcTypeOpenBmcPlus = 4;
inline constexpr UINT8 kBmcTypeNimbor = 8;
inline constexpr UINT8 kBmcTypeSmbiosThreshold = 3; // above: SMBIOS tables are sent
