// EFI_RAM_DISK_PROTOCOL: memory published as a block device (UEFI 2.10, section 13.17). The types
// are in DevicePath.h.
#pragma once

#include "uefi/Base.h"
#include "uefi/DevicePath.h"

inline constexpr EFI_GUID gEfiRamDiskProtocolGuid = {
    0xAB38A0DF, 0x6873, 0x44A9, {0x87, 0xE6, 0xD4, 0xEB, 0x56, 0x14, 0x84, 0x49}};

struct EFI_RAM_DISK_PROTOCOL {
    // DevicePath comes from pool and is freed by the caller. The memory stays with the caller.
    EFI_STATUS(EFIAPI* Register)
    (UINT64 RamDiskBase, UINT64 RamDiskSize, const EFI_GUID* RamDiskType,
     EFI_DEVICE_PATH_PROTOCOL* ParentDevicePath, EFI_DEVICE_PATH_PROTOCOL** DevicePath);
    EFI_STATUS(EFIAPI* Unregister)(EFI_DEVICE_PATH_PROTOCOL* DevicePath);
};
static_assert(sizeof(EFI_RAM_DISK_PROTOCOL) == 16);

template <>
struct ProtocolGuid<EFI_RAM_DISK_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiRamDiskProtocolGuid;
};
