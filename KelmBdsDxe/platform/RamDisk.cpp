#include "platform/RamDisk.h"

#include "library/firmware/Protocol.h"
#include "library/pure/DevicePath.h"
#include "uefi/RamDisk.h"

namespace kelm {

namespace {

constexpr UINT64 kPageSize = 4096;

// Who made the disk took its memory as pages or from pool; pool memory never begins a page, because
// its header does.
EFI_STATUS FreeDiskMemory(UINT64 start, UINT64 end) {
    if (start % kPageSize != 0) {
        return gBS->FreePool(reinterpret_cast<void*>(start));
    }
    if (end < start) {
        return EFI_INVALID_PARAMETER;
    }
    return gBS->FreePages(start, (end - start) / kPageSize + 1);
}

} // namespace

EFI_STATUS BdsCleanRamDisk(EFI_DEVICE_PATH_PROTOCOL* path) {
    EFI_RAM_DISK_PROTOCOL* ramDisk = nullptr;
    EFI_STATUS status = LocateProtocol(ramDisk);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugBdsInfo, "Couldn't find the RAM Disk protocol - %r\n", status);
        return status;
    }
    // Of the path, which goes with the disk.
    const auto* node = NodeAs<MEDIA_RAM_DISK_DEVICE_PATH>(
        FindNode(path, kDevicePathTypeMedia, kMediaSubTypeRamDisk), kDevicePathTypeMedia,
        kMediaSubTypeRamDisk);
    const UINT64 start = node == nullptr ? 0 : node->StartingAddr;
    const UINT64 end = node == nullptr ? 0 : node->EndingAddr;
    status = ramDisk->Unregister(path);
    if (EFI_ERROR(status)) {
        DebugPrint(kDebugBdsInfo, "Unregister RamDisk failed - %r\n", status);
        return status;
    }
    if (node == nullptr) {
        return EFI_UNSUPPORTED;
    }
    status = FreeDiskMemory(start, end);
    if (EFI_ERROR(status)) {
        return status;
    }
    DebugPrint(kDebugBdsInfo,
               "Successfully clean the memory, ACPI NFIT and SSDT tables of Ramdisk.\n");
    return EFI_SUCCESS;
}

} // namespace kelm
