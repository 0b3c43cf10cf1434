// The disks of the NVMe-oF subsystems. Slots are 1 to 4.
#pragma once

#include "library/firmware/Pool.h"
#include "uefi/DevicePath.h"

namespace kelm {

inline constexpr UINT8 kNvmeofSlots = 4;

// Whether a path leads to a namespace of the subsystem in a slot.
bool BdsIsNvmeofSubsystemDevicePath(const EFI_DEVICE_PATH_PROTOCOL* path, UINT8 slot);
// The first disk whose subsystem has the NQN of the slot's settings; null when there is none. The
// handle database's own.
const EFI_DEVICE_PATH_PROTOCOL* BdsFindNvmeofDiskByNqn(UINT8 slot);
// The location text of the port in a slot's settings; null when there is none.
PoolPtr<CHAR16> BdsGetNvmeofInterfaceLocation(UINT8 slot);
// The handle of the port that an interface setting names. EFI_NOT_FOUND: there is none.
EFI_STATUS BdsGetNvmeofDevController(const CHAR16* attribute, EFI_HANDLE* controller);

} // namespace kelm
