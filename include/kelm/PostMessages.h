// Numbers of the POST messages that BDS registers. Texts, types and identifiers ("UEFI0071") are
// the POST message service's (kelm/PostMessageProtocol.h).
#pragma once

#include "uefi/Base.h"

// The password function was disabled earlier in this boot.
inline constexpr UINT32 kPostMessagePasswordDisabled = 36;
// A boot image was refused by the secure-boot policy; argument: the option's text.
inline constexpr UINT32 kPostMessageSecureBootRefused = 56;
// The secure-boot configuration changed since the last boot.
inline constexpr UINT32 kPostMessageSecureBootChanged = 57;
// An attribute configuration asked for a shutdown.
inline constexpr UINT32 kPostMessageAciShutdown = 66;
// A configured network port is not present (UEFI0071).
inline constexpr UINT32 kPostMessageNetworkPortMissing = 71;
// At least one UEFI driver reports that it is unhealthy.
inline constexpr UINT32 kPostMessageDriverUnhealthy = 106;
// The watchdog fired while a boot image ran.
inline constexpr UINT32 kPostMessageBootWatchdog = 232;
// The iSCSI initiator name could not be set.
inline constexpr UINT32 kPostMessageIscsiInitiatorName = 244;
// Settings of an iSCSI connection are invalid; argument: the connection's digit.
inline constexpr UINT32 kPostMessageIscsiInitiatorIp = 245;
inline constexpr UINT32 kPostMessageIscsiSubnetMask = 246;
inline constexpr UINT32 kPostMessageIscsiGateway = 247;
inline constexpr UINT32 kPostMessageIscsiTargetName = 248;
inline constexpr UINT32 kPostMessageIscsiTargetIp = 249;
// The password jumper disables passwords, or the board cannot be asked.
inline constexpr UINT32 kPostMessagePasswordJumper = 261;
// The chassis configuration of a sled cannot be read.
inline constexpr UINT32 kPostMessageInvalidChassisSledInfo = 346;
// The rear USB port of an add-in GPU could not be shut; argument: its location.
inline constexpr UINT32 kPostMessageGpuUsbShutdown = 347;
// The user skipped the restore of a replaced board.
inline constexpr UINT32 kPostMessageRestoreSkipped = 362;
// Settings of an NVMe-oF subsystem are invalid; argument: the subsystem's digit.
inline constexpr UINT32 kPostMessageNvmeofHostIp = 370;
inline constexpr UINT32 kPostMessageNvmeofHostMask = 371;
inline constexpr UINT32 kPostMessageNvmeofHostGateway = 372;
inline constexpr UINT32 kPostMessageNvmeofSubsystemAddress = 373;
// The controller found the system inventory changed.
inline constexpr UINT32 kPostMessageInventoryChanged = 378;
// The system boots in BIOS mode.
inline constexpr UINT32 kPostMessageBiosBootMode = 383;
