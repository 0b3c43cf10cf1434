// The driver's English strings by number, registered with HII under the driver's package list GUID.
#pragma once

#include "uefi/Base.h"

namespace kelm {

inline constexpr CHAR8 kStringLanguage[] = "en-US";

inline constexpr UINT16 kStringLanguageName = 0x01;
inline constexpr UINT16 kStringFloppy = 0x02;
inline constexpr UINT16 kStringDvdCdrom = 0x03;
inline constexpr UINT16 kStringTapeBackupUnit = 0x04;
inline constexpr UINT16 kStringUsbDevice = 0x05;
inline constexpr UINT16 kStringScsiDevice = 0x06;
inline constexpr UINT16 kStringMiscDevice = 0x07;
inline constexpr UINT16 kStringNonBlockBootDevice = 0x08;
inline constexpr UINT16 kStringFixedDisk = 0x09;
inline constexpr UINT16 kStringRaidDiskPlaceholder = 0x0A;
inline constexpr UINT16 kStringNoPxeDevice = 0x0B;
inline constexpr UINT16 kStringBootFailed = 0x0C;
inline constexpr UINT16 kStringUnableToBoot = 0x0D;
inline constexpr UINT16 kStringSecureBootPolicy = 0x0E;
inline constexpr UINT16 kStringPxeVlanConflict = 0x0F;
inline constexpr UINT16 kStringNoBootDevice = 0x10;
inline constexpr UINT16 kStringEnsureBootableMedia = 0x11;
inline constexpr UINT16 kStringUsbPortsDisabled = 0x12;
inline constexpr UINT16 kStringPressF1 = 0x13;
inline constexpr UINT16 kStringActionsWithForgeline = 0x14;
inline constexpr UINT16 kStringActions = 0x15;
inline constexpr UINT16 kStringHalted = 0x16;
inline constexpr UINT16 kStringSecureBootConfigured = 0x17;
inline constexpr UINT16 kStringPaused = 0x18;
inline constexpr UINT16 kStringResuming = 0x19;
inline constexpr UINT16 kStringResetting = 0x1A;
inline constexpr UINT16 kStringEmpty = 0x1B;

// Registers the package list. EFI_NOT_FOUND: no HII database; otherwise as RegisterHiiStrings.
EFI_STATUS BdsRegisterStrings();
// One of the numbers above as text, NUL-terminated, without the HII database: for what is stored
// and not shown.
const CHAR16* BdsStringText(UINT16 number);

} // namespace kelm
