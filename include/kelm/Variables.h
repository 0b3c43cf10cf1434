// The variables of this system: name, namespace, the attributes with which BDS writes it, and its
// size in bytes. The EFI global variables, whose names are the standard's, are not repeated here,
// except those that this system adds to that namespace.
//
// Attributes are the stored ones; a variable that BDS only reads carries those of its owner as far
// as BDS relies on them. Size 0: the size varies.
#pragma once

#include "uefi/Base.h"

// Namespaces.

// The EFI global namespace, again under this header's own name to keep it free of includes.
// {8BE4DF61-93CA-11D2-AA0D-00E098032B8C}
inline constexpr EFI_GUID gKelmGlobalVariableGuid = {
    0x8BE4DF61, 0x93CA, 0x11D2, {0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C}};
// BDS's own state.
// {55E1FC65-A898-4214-A8A9-1AE839CD329A}
inline constexpr EFI_GUID gKelmBdsVariableGuid = {
    0x55E1FC65, 0xA898, 0x4214, {0xA8, 0xA9, 0x1A, 0xE8, 0x39, 0xCD, 0x32, 0x9A}};
// Orders and requests that setup, the boot menu and BDS share.
// {B1FF281A-918F-4603-B8D2-125E02299D50}
inline constexpr EFI_GUID gKelmSystemVariableGuid = {
    0xB1FF281A, 0x918F, 0x4603, {0xB8, 0xD2, 0x12, 0x5E, 0x02, 0x29, 0x9D, 0x50}};
// The device path of the running boot attempt.
// {6B1AF4E1-F347-4079-910F-603E453AF3D6}
inline constexpr EFI_GUID gKelmBootDevicePathVariableGuid = {
    0x6B1AF4E1, 0xF347, 0x4079, {0x91, 0x0F, 0x60, 0x3E, 0x45, 0x3A, 0xF3, 0xD6}};
// The cache of expanded hard-drive paths.
// {FAB7E9E1-39DD-4F2B-8408-E20E906CB6DE}
inline constexpr EFI_GUID gKelmHddPathCacheVariableGuid = {
    0xFAB7E9E1, 0x39DD, 0x4F2B, {0x84, 0x08, 0xE2, 0x0E, 0x90, 0x6C, 0xB6, 0xDE}};
// The factory configuration.
// {3D3F7898-6C62-4D5E-A939-61B173126927}
inline constexpr EFI_GUID gKelmFactoryVariableGuid = {
    0x3D3F7898, 0x6C62, 0x4D5E, {0xA9, 0x39, 0x61, 0xB1, 0x73, 0x12, 0x69, 0x27}};
// OEM identity.
// {4334FE96-099B-44FB-BB34-AD689520C83B}
inline constexpr EFI_GUID gKelmOemSmbiosBackupVariableGuid = {
    0x4334FE96, 0x099B, 0x44FB, {0xBB, 0x34, 0xAD, 0x68, 0x95, 0x20, 0xC8, 0x3B}};
// Presence of a standard-error console.
// {D03C3524-1C67-492E-8A24-1FA631BCA34A}
inline constexpr EFI_GUID gKelmStdErrVariableGuid = {
    0xD03C3524, 0x1C67, 0x492E, {0x8A, 0x24, 0x1F, 0xA6, 0x31, 0xBC, 0xA3, 0x4A}};
// The setup browser's display mode.
// {9466187C-8526-4186-8272-321F34CDC9A4}
inline constexpr EFI_GUID gKelmBrowserModeVariableGuid = {
    0x9466187C, 0x8526, 0x4186, {0x82, 0x72, 0x32, 0x1F, 0x34, 0xCD, 0xC9, 0xA4}};
// Setup defaults of the chipset modules, locked by BDS.
// {E8A99903-302C-4851-A6BE-AB2731873B2F}
inline constexpr EFI_GUID gKelmDefSetupVariableGuid = {
    0xE8A99903, 0x302C, 0x4851, {0xA6, 0xBE, 0xAB, 0x27, 0x31, 0x87, 0x3B, 0x2F}};
// {E6C2F70A-B604-4877-85BA-DEEC89E117EB}
inline constexpr EFI_GUID gKelmPchInitVariableGuid = {
    0xE6C2F70A, 0xB604, 0x4877, {0x85, 0xBA, 0xDE, 0xEC, 0x89, 0xE1, 0x17, 0xEB}};
// {EC87D643-EBA4-4BB5-A1E5-3F3E36B20DA9}
inline constexpr EFI_GUID gKelmSetupDefaultVariableGuid = {
    0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};
// Configuration of the iSCSI driver: attempts (the initiator-name protocol's GUID) and their order.
// {59324945-EC44-4C0D-B1CD-9DB139DF070C}
inline constexpr EFI_GUID gKelmIscsiAttemptVariableGuid = {
    0x59324945, 0xEC44, 0x4C0D, {0xB1, 0xCD, 0x9D, 0xB1, 0x39, 0xDF, 0x07, 0x0C}};
// {4B47D616-A8D6-4552-9D44-CCAD2E0F4CF9}
inline constexpr EFI_GUID gKelmIscsiOrderVariableGuid = {
    0x4B47D616, 0xA8D6, 0x4552, {0x9D, 0x44, 0xCC, 0xAD, 0x2E, 0x0F, 0x4C, 0xF9}};
// Configuration of the NVMe-oF host driver.
// {1509CAE7-7044-4392-A247-3F870A197142}
inline constexpr EFI_GUID gKelmNvmeofVariableGuid = {
    0x1509CAE7, 0x7044, 0x4392, {0xA2, 0x47, 0x3F, 0x87, 0x0A, 0x19, 0x71, 0x42}};
// The network stack's DHCPv6 client identifier.
// {9FB9A8A1-2F4A-43A6-889C-D0F7B6C47AD5}
inline constexpr EFI_GUID gKelmDhcp6ClientIdVariableGuid = {
    0x9FB9A8A1, 0x2F4A, 0x43A6, {0x88, 0x9C, 0xD0, 0xF7, 0xB6, 0xC4, 0x7A, 0xD5}};
// Secure-boot configuration that goes into the fingerprint.
// {F0A30BC7-AF08-4556-99C4-001009C93A44}
inline constexpr EFI_GUID gKelmSecureBootEnableVariableGuid = {
    0xF0A30BC7, 0xAF08, 0x4556, {0x99, 0xC4, 0x00, 0x10, 0x09, 0xC9, 0x3A, 0x44}};
// {C076EC0C-7028-4399-A072-71EE5C448B9F}
inline constexpr EFI_GUID gKelmCustomModeVariableGuid = {
    0xC076EC0C, 0x7028, 0x4399, {0xA0, 0x72, 0x71, 0xEE, 0x5C, 0x44, 0x8B, 0x9F}};
// {0C573B77-EB93-4D3D-AFFC-5FEBCAFB65B0}
inline constexpr EFI_GUID gKelmSecureBootModeVariableGuid = {
    0x0C573B77, 0xEB93, 0x4D3D, {0xAF, 0xFC, 0x5F, 0xEB, 0xCA, 0xFB, 0x65, 0xB0}};
// {D719B2CB-3D3A-4596-A3BC-DAD00E67656F}
inline constexpr EFI_GUID gKelmImageSecurityVariableGuid = {
    0xD719B2CB, 0x3D3A, 0x4596, {0xA3, 0xBC, 0xDA, 0xD0, 0x0E, 0x67, 0x65, 0x6F}};
// {98944833-49A2-3C8B-DF7B-DD92BE482C75}
inline constexpr EFI_GUID gKelmUefiCaCertScopeVariableGuid = {
    0x98944833, 0x49A2, 0x3C8B, {0xDF, 0x7B, 0xDD, 0x92, 0xBE, 0x48, 0x2C, 0x75}};
// Memory type sizes for the next boot; also the name of a HOB and of a configuration table.
// {4C19049F-4137-4DD3-9C10-8B97A83FFDFA}
inline constexpr EFI_GUID gKelmMemoryTypeVariableGuid = {
    0x4C19049F, 0x4137, 0x4DD3, {0x9C, 0x10, 0x8B, 0x97, 0xA8, 0x3F, 0xFD, 0xFA}};

// Attribute sets of the variables.
inline constexpr UINT32 kVariableBoot = 0x2; // volatile, boot services only
inline constexpr UINT32 kVariableNonVolatileBoot = 0x3;
inline constexpr UINT32 kVariableBootRuntime = 0x6; // volatile
inline constexpr UINT32 kVariableNonVolatileRuntime = 0x7;

struct KelmVariable {
    const CHAR16* name;
    const EFI_GUID* guid;
    UINT32 attributes;
    UINTN size; // bytes; 0: varies
};

// BDS's own state.

// 1: the boot before this one applied a configuration and has been reset; boot normally once.
inline constexpr KelmVariable kVariableConfigurationBootBypass = {
    u"BdsConfigurationBootBypass", &gKelmBdsVariableGuid, kVariableNonVolatileBoot, 1};
// 1: enter the Forgeline user interface on the next boot.
inline constexpr KelmVariable kVariableForgelineGuiRequest = {
    u"ForgelineGuiRequest", &gKelmBdsVariableGuid, kVariableNonVolatileBoot, 1};
// UINT16 1: the Forgeline tool is being launched.
inline constexpr KelmVariable kVariableEnterForgelineDetect = {
    u"EnterForgelineDetect", &gKelmBdsVariableGuid, kVariableBoot, 2};
// 1: the configuration is locked by the controller.
inline constexpr KelmVariable kVariableConfigLockDetect = {u"ConfigLockDetect",
                                                           &gKelmBdsVariableGuid, kVariableBoot, 1};
// While setup runs: 1 when it was entered with the administrator password accepted.
inline constexpr KelmVariable kVariableSetupEntry = {u"SetupMode", &gKelmBdsVariableGuid,
                                                     kVariableBoot, 1};
// 1: the password function was disabled; reported once.
inline constexpr KelmVariable kVariablePasswordDisabled = {u"PWDisabled", &gKelmBdsVariableGuid,
                                                           kVariableBoot, 1};
// The secure-boot fingerprint of the last boot.
inline constexpr KelmVariable kVariableSecureBootState = {u"SbState", &gKelmBdsVariableGuid,
                                                          kVariableNonVolatileBoot, 4};
// Device path of the built-in shell.
inline constexpr KelmVariable kVariableShellDevicePath = {u"SystemUefiShellDevicePath",
                                                          &gKelmBdsVariableGuid, kVariableBoot, 0};
// 0: the shell option must not exist. Absent: it may.
inline constexpr KelmVariable kVariableShellAllowed = {u"SystemUefiShell", &gKelmBdsVariableGuid,
                                                       kVariableNonVolatileBoot, 1};
// UINT64 1-4: the HTTP device being booted.
inline constexpr KelmVariable kVariableHttpBootDeviceNumber = {
    u"HttpBootDeviceNumber", &gKelmBdsVariableGuid, kVariableBoot, 8};
// One-time boot devices: UCS-2 FQDD text, perhaps with bracket attributes.
inline constexpr KelmVariable kVariableOneTimeBootDevice = {
    u"OneTimeBootDevice", &gKelmBdsVariableGuid, kVariableNonVolatileBoot, 0};
inline constexpr KelmVariable kVariableOneTimeHddBootDevice = {
    u"OneTimeHddBootDevice", &gKelmBdsVariableGuid, kVariableNonVolatileBoot, 0};
// A device path to boot once, left by the BIOS boot interface.
inline constexpr KelmVariable kVariableBootNextDevicePath = {u"BootNextDp", &gKelmBdsVariableGuid,
                                                             kVariableNonVolatileBoot, 0};
// Records of two UCS-2 strings: location text and FQDD of a network port.
inline constexpr KelmVariable kVariableUefiNicList = {u"UefiNicList", &gKelmBdsVariableGuid,
                                                      kVariableNonVolatileBoot, 0};
// Position of a device's default port in UefiNicList; the name is the device's prefix and this.
inline constexpr CHAR16 kVariableNicListDefaultSuffix[] =
    u"NicListDefault"; // BDS namespace, 0x3, 1
// ASCII digit of the iSCSI connection that is being prepared or connected.
inline constexpr KelmVariable kVariableIscsiConnectionNumber = {
    u"KelmIscsiConnNumber", &gKelmBdsVariableGuid, kVariableBoot, 1};
// 1: the terminal stack has found a terminal.
inline constexpr KelmVariable kVariableTerminalDetect = {u"TerminalDetect", &gKelmBdsVariableGuid,
                                                         kVariableBoot, 1};
// 1: redirection is asked for, 0: automatic.
inline constexpr KelmVariable kVariableRedirectionRequest = {
    u"RedirectionRequest", &gKelmBdsVariableGuid, kVariableBoot, 1};
// 1 VT100, 2 ANSI.
inline constexpr KelmVariable kVariableTerminalType = {u"KelmTerminalType", &gKelmBdsVariableGuid,
                                                       kVariableBoot, 1};
// Non-zero: an attribute configuration asked for a shutdown.
inline constexpr KelmVariable kVariableAciShutdownRequested = {
    u"AciShutdownRequested", &gKelmBdsVariableGuid, kVariableNonVolatileBoot, 1};
// 1: the system configuration profile is to be sent to the controller.
inline constexpr KelmVariable kVariableScpUpdateState = {u"ScpUpdateState", &gKelmBdsVariableGuid,
                                                         kVariableNonVolatileBoot, 1};

// Shared with setup and the boot menu.

// Orders: arrays of UINT16 option numbers.
inline constexpr KelmVariable kVariableUefiBootOrder = {u"UefiBootOrder", &gKelmSystemVariableGuid,
                                                        kVariableNonVolatileBoot, 0};
inline constexpr KelmVariable kVariableLegacyBootOrder = {
    u"LegacyBootOrder", &gKelmSystemVariableGuid, kVariableNonVolatileBoot, 0};
inline constexpr KelmVariable kVariableDefaultUefiBootOrder = {
    u"DefaultUefiBootOrder", &gKelmSystemVariableGuid, kVariableNonVolatileBoot, 0};
inline constexpr KelmVariable kVariableDefaultLegacyBootOrder = {
    u"DefaultLegacyBootOrder", &gKelmSystemVariableGuid, kVariableNonVolatileBoot, 0};
// UINT16 BBS indexes of the legacy hard-disk option.
inline constexpr KelmVariable kVariableDefaultBcvBootOrder = {
    u"DefaultBcvBootOrder", &gKelmSystemVariableGuid, kVariableNonVolatileBoot, 0};
// The running number of HDD placeholders.
inline constexpr KelmVariable kVariablePlaceholderNumber = {
    u"PlaceHolderNum", &gKelmSystemVariableGuid, kVariableNonVolatileBoot, 1};
// UINT16 position, then the UCS-2 FQDD of the disk. Three entries.
inline constexpr const CHAR16* kVariableOsBootEntryNames[] = {u"OsBootEntry01", u"OsBootEntry02",
                                                              u"OsBootEntry03"};
inline constexpr UINT32 kVariableOsBootEntryAttributes =
    kVariableNonVolatileRuntime; // system namespace
// 1: the one-shot boot menu was asked to refresh.
inline constexpr KelmVariable kVariableOneShotBootMenuRefresh = {
    u"KelmOneShotBootMenuRefresh", &gKelmSystemVariableGuid, kVariableBoot, 1};
// Bit 0: iSCSI settings changed in setup, bit 1: NVMe-oF settings changed.
inline constexpr KelmVariable kVariableHiiNetworkReconnect = {
    u"KelmHiiNetworkReconnect", &gKelmSystemVariableGuid, kVariableBoot, 1};
inline constexpr UINT8 kNetworkReconnectIscsi = 0x01;
inline constexpr UINT8 kNetworkReconnectNvmeof = 0x02;
// Bit 0: setup changed something that the RCI2 table shows.
inline constexpr KelmVariable kVariableHiiChangedToRebuildRci = {
    u"KelmHiiChangedToRebuildRCI", &gKelmSystemVariableGuid, kVariableBoot, 1};
// 1: network connections may be made.
inline constexpr KelmVariable kVariableAllowNetworkConnection = {
    u"AllowNetworkConnection", &gKelmSystemVariableGuid, kVariableBoot, 1};

// Namespaces of their own.

// Address of the expanded path of the option that is booted, or 0.
inline constexpr KelmVariable kVariableBootDevicePath = {
    u"BootDevicePath", &gKelmBootDevicePathVariableGuid, kVariableNonVolatileRuntime, 8};
// Multi-instance device path of hard-drive partitions, most recently used first, at most 12.
inline constexpr KelmVariable kVariableHddPathCache = {u"HDDP", &gKelmHddPathCacheVariableGuid,
                                                       kVariableNonVolatileRuntime, 0};
inline constexpr UINTN kHddPathCacheInstances = 12;
// Factory configuration, at most 256 bytes.
inline constexpr KelmVariable kVariableFactoryConfiguration = {u"DD_CFG", &gKelmFactoryVariableGuid,
                                                               kVariableNonVolatileRuntime, 0};
inline constexpr UINTN kFactoryConfigurationMaxSize = 256;
// 1: the OEM SMBIOS strings are to be backed up.
inline constexpr KelmVariable kVariableOemSmbiosStringsBackup = {
    u"OemSmbiosStringsBackup", &gKelmOemSmbiosBackupVariableGuid, kVariableNonVolatileBoot, 1};
// Present: ErrOut is connected before the other consoles.
inline constexpr KelmVariable kVariableStdErr = {u"KelmStdErr", &gKelmStdErrVariableGuid,
                                                 kVariableNonVolatileBoot, 0};
// 1: a redirection terminal is the console.
inline constexpr KelmVariable kVariableBrowserMode = {u"BrowserMode", &gKelmBrowserModeVariableGuid,
                                                      kVariableBoot, 1};
// 0 or 1 replaces what BrowserMode is set to.
inline constexpr KelmVariable kVariableBrowserModeOverride = {
    u"BrowserModeOverride", &gKelmBrowserModeVariableGuid, kVariableBoot, 1};
// Records of UINT32 type and UINT32 pages, ended by type 16.
inline constexpr KelmVariable kVariableMemoryTypeInformation = {
    u"MemoryTypeInformation", &gKelmMemoryTypeVariableGuid, kVariableNonVolatileBoot, 0};

// Configuration of the network drivers.

inline constexpr UINTN kIscsiAttemptSize = 1049;
inline constexpr KelmVariable kVariableIscsiAttempts[] = {
    {u"Attempt 1", &gKelmIscsiAttemptVariableGuid, kVariableNonVolatileBoot, kIscsiAttemptSize},
    {u"Attempt 2", &gKelmIscsiAttemptVariableGuid, kVariableNonVolatileBoot, kIscsiAttemptSize},
};
// One byte an attempt, in connection order.
inline constexpr KelmVariable kVariableIscsiAttemptOrder = {
    u"AttemptOrder", &gKelmIscsiOrderVariableGuid, kVariableNonVolatileBoot, 0};
inline constexpr UINTN kNvmeofGlobalDataSize = 754;
inline constexpr KelmVariable kVariableNvmeofGlobalData = {
    u"NvmeofGlobalData", &gKelmNvmeofVariableGuid, kVariableBoot, kNvmeofGlobalDataSize};
inline constexpr UINTN kNvmeofAttemptSize = 1510;
inline constexpr UINTN kNvmeofAttemptCount = 4;
inline constexpr KelmVariable kVariableNvmeofAttempts = {u"Nvmeof_Attemptconfig",
                                                         &gKelmNvmeofVariableGuid, kVariableBoot,
                                                         kNvmeofAttemptSize* kNvmeofAttemptCount};
// First byte 1-4: the DHCPv6 DUID type while NVMe-oF ports connect.
inline constexpr KelmVariable kVariableNvmeofDhcp6UidType = {
    u"NvmeofDhcp6UidType", &gKelmNvmeofVariableGuid, kVariableNonVolatileBoot, 0};
// Deleted to have a new identifier made.
inline constexpr KelmVariable kVariableDhcp6ClientId = {
    u"ClientId", &gKelmDhcp6ClientIdVariableGuid, kVariableNonVolatileBoot, 0};

// A variable named without its contents.
struct KelmVariableName {
    const CHAR16* name;
    const EFI_GUID* guid;
};

// Variables that nobody may change once BDS runs, in the order in which they are locked.
inline constexpr KelmVariableName kReadOnlyVariables[] = {
    {u"LangCodes", &gKelmGlobalVariableGuid},
    {u"BootOptionSupport", &gKelmGlobalVariableGuid},
    {u"HwErrRecSupport", &gKelmGlobalVariableGuid},
    {u"OsIndicationsSupported", &gKelmGlobalVariableGuid},
    {u"DefSetup", &gKelmDefSetupVariableGuid},
    {u"PchInit", &gKelmPchInitVariableGuid},
    {u"SetupDefault", &gKelmSetupDefaultVariableGuid},
    {u"ReserveMemFlag", &gKelmGlobalVariableGuid},
};
static_assert(sizeof(kReadOnlyVariables) / sizeof(kReadOnlyVariables[0]) == 8);

// Variables whose contents make the secure-boot fingerprint, in order.
inline constexpr KelmVariableName kSecureBootFingerprintVariables[] = {
    {u"SecureBootEnable", &gKelmSecureBootEnableVariableGuid},
    {u"CustomMode", &gKelmCustomModeVariableGuid},
    {u"SecureBootMode", &gKelmSecureBootModeVariableGuid},
    {u"PK", &gKelmGlobalVariableGuid},
    {u"KEK", &gKelmGlobalVariableGuid},
    {u"db", &gKelmImageSecurityVariableGuid},
    {u"dbx", &gKelmImageSecurityVariableGuid},
    {u"UefiCaCertScope", &gKelmUefiCaCertScopeVariableGuid},
};
static_assert(sizeof(kSecureBootFingerprintVariables) /
                  sizeof(kSecureBootFingerprintVariables[0]) ==
              8);
