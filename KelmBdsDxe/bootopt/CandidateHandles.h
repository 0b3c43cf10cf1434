// The handles that may get a boot option, in the order of their kinds.
#pragma once

#include "uefi/Base.h"

namespace kelm {

inline constexpr UINTN kUefiBootCandidates = 1; // the only mode there is

// Floppies first, then optical drives, fixed disks with a file system, USB disks, the network boot
// devices in the order of their locations, the generic USB boot device, and whatever else can be
// booted from. The array is new pool memory that the caller frees; null when there is no handle.
// EFI_INVALID_PARAMETER: another mode. EFI_OUT_OF_RESOURCES.
EFI_STATUS BdsGetBootCandidateHandles(UINTN mode, UINTN* count, EFI_HANDLE** handles);

} // namespace kelm
