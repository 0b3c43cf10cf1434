#include "bootopt/CandidateHandles.h"

#include "bootopt/BootType.h"
#include "bootopt/GenericUsb.h"
#include "bootopt/LocationSort.h"
#include "bootopt/UsbStorage.h"
#include "kelm/PlaceholderGuids.h"
#include "library/firmware/Protocol.h"
#include "library/pure/DevicePath.h"
#include "uefi/BlockIo.h"
#include "uefi/SimpleFileSystem.h"

#include <algorithm>

namespace kelm {

namespace {

// The classes of the result, in its order.
constexpr UINT8 kFloppies = 1;
constexpr UINT8 kUsbFloppies = 2;
constexpr UINT8 kOpticalDrives = 3;
constexpr UINT8 kUsbOpticalDrives = 4;
constexpr UINT8 kFixedDisks = 6;
constexpr UINT8 kUsbDisks = 7;
constexpr UINT8 kNetworkDevices = 8;
constexpr UINT8 kGenericUsb = 10;
constexpr UINT8 kClasses[] = {kFloppies,   kUsbFloppies, kOpticalDrives,  kUsbOpticalDrives,
                              kFixedDisks, kUsbDisks,    kNetworkDevices, kGenericUsb};
// Removable devices of any other bootable type; file systems that are on no block device.
constexpr UINT8 kLeftovers = 0xFF;
constexpr UINT8 kNoClass = 0;

const EFI_BLOCK_IO_MEDIA* MediumOf(EFI_HANDLE handle) {
    const auto* blockIo = ProtocolOnHandle<EFI_BLOCK_IO_PROTOCOL>(handle);
    return blockIo == nullptr ? nullptr : blockIo->Media;
}

UINT8 ClassOfUsb(const EFI_DEVICE_PATH_PROTOCOL* path) {
    switch (BdsGetUsbStorageKind(path)) {
    case UsbStorageKind::Floppy:
        return kUsbFloppies;
    case UsbStorageKind::Optical:
        return kUsbOpticalDrives;
    case UsbStorageKind::Disk:
        return kUsbDisks;
    default:
        return kLeftovers;
    }
}

// The class of a block device; kNoClass for one that is fixed, or of no bootable type.
UINT8 ClassOfBlockDevice(EFI_HANDLE handle) {
    const EFI_BLOCK_IO_MEDIA* medium = MediumOf(handle);
    if (medium == nullptr || !medium->RemovableMedia) {
        return kNoClass;
    }
    const auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
    switch (BdsGetBootType(path)) {
    case BootType::Floppy:
        return kFloppies;
    case BootType::Atapi:
    case BootType::Sata:
        return kOpticalDrives;
    case BootType::Usb:
        return ClassOfUsb(path);
    case BootType::Scsi:
    case BootType::MessagingVendor:
    case BootType::MessagingOther:
        return kLeftovers;
    default:
        return kNoClass;
    }
}

// The class of a file system; kNoClass for one on a removable device.
UINT8 ClassOfFileSystem(EFI_HANDLE handle) {
    const EFI_BLOCK_IO_MEDIA* medium = MediumOf(handle);
    if (medium == nullptr) {
        return kLeftovers;
    }
    return medium->RemovableMedia ? kNoClass : kFixedDisks;
}

// The handle database has each device path once.
EFI_HANDLE FindGenericUsbHandle() {
    auto* rest = const_cast<EFI_DEVICE_PATH_PROTOCOL*>(BdsGenericUsbBootPath());
    EFI_HANDLE handle = nullptr;
    const EFI_STATUS status = gBS->LocateDevicePath(&gEfiDevicePathProtocolGuid, &rest, &handle);
    return EFI_ERROR(status) || !IsEndNode(rest) ? nullptr : handle;
}

// The sources of candidates, as they are when enumeration begins.
struct Sources {
    HandleBuffer blockDevices;
    HandleBuffer fileSystems;
    HandleBuffer markers;
    PoolPtr<EFI_HANDLE> networkDevices; // the markers by location
    PoolPtr<UINT8> blockClasses;        // of blockDevices
    PoolPtr<UINT8> fileSystemClasses;   // of fileSystems
    EFI_HANDLE genericUsb = nullptr;

    UINTN Count() const {
        return blockDevices.handles().size() + fileSystems.handles().size() +
               markers.handles().size() + (genericUsb != nullptr ? 1 : 0);
    }
};

// The class of each handle; null when memory is out.
PoolPtr<UINT8> ClassesOf(std::span<const EFI_HANDLE> handles, UINT8 (*classOf)(EFI_HANDLE)) {
    PoolPtr<UINT8> classes = AllocatePool<UINT8>(handles.size());
    if (classes) {
        std::ranges::transform(handles, classes.get(), classOf);
    }
    return classes;
}

EFI_STATUS Collect(Sources& sources) {
    static_cast<void>(sources.blockDevices.LocateByProtocol(gEfiBlockIoProtocolGuid));
    static_cast<void>(sources.fileSystems.LocateByProtocol(gEfiSimpleFileSystemProtocolGuid));
    static_cast<void>(sources.markers.LocateByProtocol(gKelmNetworkBootDeviceMarkerGuid));
    sources.genericUsb = FindGenericUsbHandle();

    const std::span<const EFI_HANDLE> markers = sources.markers.handles();
    if (!markers.empty()) {
        sources.networkDevices = AllocateCopyPool(markers.size_bytes(), markers.data());
        if (!sources.networkDevices) {
            return EFI_OUT_OF_RESOURCES;
        }
        // Without locations they stay in handle order.
        static_cast<void>(BdsSortHandlesByLocation(markers.size(), sources.networkDevices.get()));
    }
    sources.blockClasses = ClassesOf(sources.blockDevices.handles(), ClassOfBlockDevice);
    sources.fileSystemClasses = ClassesOf(sources.fileSystems.handles(), ClassOfFileSystem);
    return sources.blockClasses && sources.fileSystemClasses ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

class HandleList {
public:
    explicit HandleList(EFI_HANDLE* room) : handles_(room) {}
    void Add(EFI_HANDLE handle) { handles_[count_++] = handle; }
    UINTN count() const { return count_; }

private:
    EFI_HANDLE* handles_;
    UINTN count_ = 0;
};

// Adds those of a class.
void AddOfClass(std::span<const EFI_HANDLE> handles, const PoolPtr<UINT8>& classes, UINT8 wanted,
                HandleList& list) {
    for (UINTN i = 0; i < handles.size(); ++i) {
        if (classes[i] == wanted) {
            list.Add(handles[i]);
        }
    }
}

void AddClass(const Sources& sources, UINT8 candidateClass, HandleList& list) {
    switch (candidateClass) {
    case kFixedDisks:
        AddOfClass(sources.fileSystems.handles(), sources.fileSystemClasses, kFixedDisks, list);
        break;
    case kNetworkDevices:
        for (UINTN i = 0; i < sources.markers.handles().size(); ++i) {
            list.Add(sources.networkDevices[i]);
        }
        break;
    case kGenericUsb:
        if (sources.genericUsb != nullptr) {
            list.Add(sources.genericUsb);
        }
        break;
    default:
        AddOfClass(sources.blockDevices.handles(), sources.blockClasses, candidateClass, list);
        break;
    }
}

} // namespace

EFI_STATUS BdsGetBootCandidateHandles(UINTN mode, UINTN* count, EFI_HANDLE** handles) {
    *count = 0;
    *handles = nullptr;
    if (mode != kUefiBootCandidates) {
        return EFI_INVALID_PARAMETER;
    }
    Sources sources;
    const EFI_STATUS status = Collect(sources);
    if (EFI_ERROR(status) || sources.Count() == 0) {
        return status;
    }
    // No handle is listed twice: a block device is removable or not, a file system is on it or not.
    PoolPtr<EFI_HANDLE> room = AllocatePool<EFI_HANDLE>(sources.Count());
    if (!room) {
        return EFI_OUT_OF_RESOURCES;
    }
    HandleList list(room.get());
    for (const UINT8 candidateClass : kClasses) {
        AddClass(sources, candidateClass, list);
    }
    AddOfClass(sources.blockDevices.handles(), sources.blockClasses, kLeftovers, list);
    AddOfClass(sources.fileSystems.handles(), sources.fileSystemClasses, kLeftovers, list);
    *count = list.count();
    *handles = room.release();
    return EFI_SUCCESS;
}

} // namespace kelm
