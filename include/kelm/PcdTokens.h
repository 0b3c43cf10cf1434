// Dynamic platform configuration values: token space, token number and size in bytes. They are read
// at the point of use through the dynamic PCD protocol; a value that the platform does not have
// reads as 0. Sizes: 1 for booleans and bytes, 8 for addresses.
#pragma once

#include "uefi/Base.h"

// This platform's own values.
// {3DF141BA-47EB-45B3-98C2-3041AF59DA19}
inline constexpr EFI_GUID gKelmPlatformPcdTokenSpaceGuid = {
    0x3DF141BA, 0x47EB, 0x45B3, {0x98, 0xC2, 0x30, 0x41, 0xAF, 0x59, 0xDA, 0x19}};
// Values of the memory and chipset modules.
// {D3705011-BC19-4AF7-BE16-F68030378C15}
inline constexpr EFI_GUID gKelmChipsetPcdTokenSpaceGuid = {
    0xD3705011, 0xBC19, 0x4AF7, {0xBE, 0x16, 0xF6, 0x80, 0x30, 0x37, 0x8C, 0x15}};
// Values of the system family.
// {A1AFF049-FDEB-442A-B320-13AB4CB72BBC}
inline constexpr EFI_GUID gKelmSystemPcdTokenSpaceGuid = {
    0xA1AFF049, 0xFDEB, 0x442A, {0xB3, 0x20, 0x13, 0xAB, 0x4C, 0xB7, 0x2B, 0xBC}};
// Values of the network stack.
// {40E064B2-0AE0-48B1-A07D-F8CF1E1A2310}
inline constexpr EFI_GUID gKelmNetworkPcdTokenSpaceGuid = {
    0x40E064B2, 0x0AE0, 0x48B1, {0xA0, 0x7D, 0xF8, 0xCF, 0x1E, 0x1A, 0x23, 0x10}};
// Values of the reporting and measuring library.
// {8FB8DFA4-662E-472E-A5A2-02F33D0B31C8}
inline constexpr EFI_GUID gKelmReportingPcdTokenSpaceGuid = {
    0x8FB8DFA4, 0x662E, 0x472E, {0xA5, 0xA2, 0x02, 0xF3, 0x3D, 0x0B, 0x31, 0xC8}};

struct PcdToken {
    const EFI_GUID& space;
    UINTN token;
    UINTN size; // bytes
};

// BOOLEAN: the system's content was cleared from remote; acknowledged by writing 0.
inline constexpr PcdToken kPcdRemoteNvramClear = {gKelmPlatformPcdTokenSpaceGuid, 0x50000022, 1};
// UINT8: level of the management controller (kelm/BootTaskTypes.h).
inline constexpr PcdToken kPcdBmcType = {gKelmPlatformPcdTokenSpaceGuid, 0x50000028, 1};
// BOOLEAN: an I2C device behind the controller needs its write during POST.
inline constexpr PcdToken kPcdMasterWriteRead = {gKelmPlatformPcdTokenSpaceGuid, 0x50000019, 1};
// BOOLEAN: the boot menu is free of the setup password.
inline constexpr PcdToken kPcdBootManagerFree = {gKelmPlatformPcdTokenSpaceGuid, 0x50000006, 1};
// BOOLEAN: FTDI USB-to-serial adapters serve as consoles.
inline constexpr PcdToken kPcdFtdiUsbSerialConsoleSupport = {gKelmPlatformPcdTokenSpaceGuid,
                                                             0x50000029, 1};
// BOOLEAN: set the display's native resolution when the onboard video was stopped.
inline constexpr PcdToken kPcdNativeResolution = {gKelmPlatformPcdTokenSpaceGuid, 0x50000002, 1};
// BOOLEAN: map frame buffers write-combining through page attributes too.
inline constexpr PcdToken kPcdVideoPageAttributes = {gKelmPlatformPcdTokenSpaceGuid, 0x50000003, 1};
// UINT64: base of the 2-GB window whose page attributes are reset at exit of boot services.
inline constexpr PcdToken kPcdVideoWindowBase = {gKelmPlatformPcdTokenSpaceGuid, 0x50000004, 8};
// BOOLEAN: add-in video joins the console while the embedded video is enabled.
inline constexpr PcdToken kPcdAddinVideoOnConsole = {gKelmPlatformPcdTokenSpaceGuid, 0x50000026, 1};
// BOOLEAN: rear USB ports of add-in GPUs follow the USB port setting.
inline constexpr PcdToken kPcdGpuUsbShutdown = {gKelmPlatformPcdTokenSpaceGuid, 0x5000000B, 1};
// BOOLEAN: a request to the memory modules that holds for one boot; BDS turns it off.
inline constexpr PcdToken kPcdMemoryOneBootRequest = {gKelmChipsetPcdTokenSpaceGuid, 0x1002F, 1};
// BOOLEAN: keep the memory type information up to date across boots.
inline constexpr PcdToken kPcdMemoryTypeInformation = {gKelmSystemPcdTokenSpaceGuid, 0x10056, 1};
// BOOLEAN: the server is a sled of a modular chassis.
inline constexpr PcdToken kPcdModularSystem = {gKelmSystemPcdTokenSpaceGuid, 0x30010, 1};
// UINT8: DHCPv6 DUID type of the network stack.
inline constexpr PcdToken kPcdDhcp6UidType = {gKelmNetworkPcdTokenSpaceGuid, 0x10000001, 1};

// UINT8: which kinds of status codes are reported.
inline constexpr PcdToken kPcdReportStatusCodePropertyMask = {gKelmReportingPcdTokenSpaceGuid, 1,
                                                              1};
inline constexpr UINT8 kReportProgressCodes = 0x01;
inline constexpr UINT8 kReportErrorCodes = 0x02;
inline constexpr UINT8 kReportDebugCodes = 0x04;

// UINT8: which kinds of measurements are taken.
inline constexpr PcdToken kPcdPerformancePropertyMask = {gKelmReportingPcdTokenSpaceGuid, 2, 1};
inline constexpr UINT8 kPerformanceMeasurements = 0x01;
