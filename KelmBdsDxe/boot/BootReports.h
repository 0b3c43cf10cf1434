// What the user and the log learn of a boot attempt.
#pragma once

#include "bootopt/LoadOption.h"
#include "uefi/Base.h"
#include "uefi/DevicePath.h"

namespace kelm {

// The status of an attempt to boot a PXE device whose VLAN settings conflict with those of the
// iSCSI device.
inline constexpr EFI_STATUS kStatusPxeVlanConflict = 0x80000000000003E8ull;

// gDriver.launch.lastBootResult: what the next prompt has to tell.
inline constexpr UINT16 kLastBootNothing = 0;
inline constexpr UINT16 kLastBootNoPxeDevice = 1;
inline constexpr UINT16 kLastBootFailed = 2;

// "Booting from ..." on the screen, before the attempt. A null description is an option without
// one. Tells the HTTP boot driver which of its devices is meant.
void BdsReportBootStart(const EFI_DEVICE_PATH_PROTOCOL* path, UINT32 attribute,
                        const CHAR16* description);
// "Boot Failed:" and its reason on the screen; sets kLastBootFailed.
void BdsReportBootFailure(const EFI_DEVICE_PATH_PROTOCOL* path, UINT32 attribute,
                          const CHAR16* description, EFI_STATUS status);
// One line in the log.
void BdsReportBootSuccess(const CHAR16* description);
// The report of the two that the status asks for.
void BdsReportBootResult(const BootOptionRecord& option, EFI_STATUS status);

} // namespace kelm
