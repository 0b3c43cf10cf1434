#include "platform/Connect.h"

#include "kelm/PlatformConsoleProtocol.h"
#include "library/firmware/DevicePathPool.h"
#include "library/firmware/Protocol.h"
#include "library/firmware/Stopwatch.h"
#include "platform/PciClassCode.h"
#include "uefi/LoadedImage.h"
#include "uefi/PciRootBridgeIo.h"
#include "uefi/Usb2HostController.h"

namespace kelm {

namespace {

EFI_STATUS ConnectHandle(EFI_HANDLE handle, bool recursive,
                         const EFI_DEVICE_PATH_PROTOCOL* remaining = nullptr) {
    return gBS->ConnectController(handle, nullptr, const_cast<EFI_DEVICE_PATH_PROTOCOL*>(remaining),
                                  recursive ? TRUE : FALSE);
}

void ConnectHandles(const HandleBuffer& found, bool recursive) {
    for (EFI_HANDLE handle : found.handles()) {
        static_cast<void>(ConnectHandle(handle, recursive));
    }
}

void ConnectAllButImages() {
    HandleBuffer all;
    static_cast<void>(all.LocateAll());
    for (EFI_HANDLE handle : all.handles()) {
        if (ProtocolOnHandle<EFI_LOADED_IMAGE_PROTOCOL>(handle) == nullptr) {
            static_cast<void>(ConnectHandle(handle, true));
        }
    }
}

void ConnectPlatformSequence() {
    KelmPlatformConsoleProtocol* platform = nullptr;
    EFI_DEVICE_PATH_PROTOCOL** sequence = nullptr;
    if (EFI_ERROR(LocateProtocolOrLog(
            platform, "Error !!! Unable to locate KelmPlatformConsoleProtocol.\n")) ||
        EFI_ERROR(platform->GetPlatformConnectSequence(platform, &sequence)) ||
        sequence == nullptr) {
        return;
    }
    for (; *sequence != nullptr; ++sequence) {
        static_cast<void>(BdsConnectDevicePath(*sequence));
    }
}

// Each step connects the nearest handle on the way, which makes the next one appear. The way goes
// no further when the same handle is found again: then only a driver that is not yet there can
// help.
EFI_STATUS ConnectInstance(EFI_DEVICE_PATH_PROTOCOL* instance, bool recursive) {
    EFI_HANDLE last = nullptr;
    EFI_DEVICE_PATH_PROTOCOL* remaining = nullptr;
    do {
        remaining = instance;
        EFI_HANDLE handle = nullptr;
        EFI_STATUS status = gBS->LocateDevicePath(&gEfiDevicePathProtocolGuid, &remaining, &handle);
        if (!EFI_ERROR(status) && handle == last) {
            status = BdsDispatchDrivers();
        }
        if (EFI_ERROR(status)) {
            return status;
        }
        last = handle;
        // Whether it helped shows in the next step.
        static_cast<void>(ConnectHandle(handle, recursive, remaining));
    } while (!IsEndNode(remaining));
    return EFI_SUCCESS;
}

EFI_STATUS ConnectEachInstance(const EFI_DEVICE_PATH_PROTOCOL* path, bool recursive) {
    if (path == nullptr) {
        return EFI_SUCCESS;
    }
    if (DevicePathSize(path) == 0) {
        return EFI_INVALID_PARAMETER;
    }
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> copy = DuplicateDevicePath(path);
    if (!copy) {
        return EFI_OUT_OF_RESOURCES;
    }
    EFI_STATUS status = EFI_SUCCESS;
    for (auto* cursor = copy.get(); auto* instance = CutInstance(cursor);) {
        status = ConnectInstance(instance, recursive);
    }
    return status;
}

bool IsUsbShortForm(const EFI_DEVICE_PATH_PROTOCOL* path) {
    return path != nullptr && (IsNode(path, kDevicePathTypeMessaging, kMessagingSubTypeUsbClass) ||
                               IsNode(path, kDevicePathTypeMessaging, kMessagingSubTypeUsbWwid));
}

bool IsUsbHostController(EFI_HANDLE handle, UINT8 programmingInterface) {
    auto* pci = ProtocolOnHandle<EFI_PCI_IO_PROTOCOL>(handle);
    PciClassCode classCode{};
    return pci != nullptr && !EFI_ERROR(ReadPciClassCode(pci, classCode)) &&
           classCode.baseClass == PCI_CLASS_SERIAL && classCode.subClass == PCI_CLASS_SERIAL_USB &&
           classCode.programmingInterface == programmingInterface;
}

} // namespace

void BdsConnectPciRootBridges() {
    HandleBuffer bridges;
    static_cast<void>(bridges.LocateByProtocol(gEfiPciRootBridgeIoProtocolGuid));
    ConnectHandles(bridges, false);
}

EFI_STATUS BdsConnectAll() {
    DebugPrint(kDebugBdsInfo, "BDS: BdsConnectAll - Start\n");
    static_cast<void>(BdsDispatchDrivers());
    ConnectPlatformSequence();
    BdsConnectAllDriversToAllControllers();
    DebugPrint(kDebugBdsInfo, "BDS: BdsConnectAll - End\n");
    return EFI_SUCCESS;
}

void BdsConnectAllDriversToAllControllers() {
    DebugPrint(kDebugBdsInfo, "%a Entry --->\n", "BdsConnectAllDriversToAllControllers");
    const Stopwatch stopwatch;
    EFI_STATUS status = EFI_SUCCESS;
    do {
        DebugPrint(kDebugBdsInfo, "Before BdsConnectAllEfiExceptImageHandle\n");
        ConnectAllButImages();
        DebugPrint(kDebugBdsInfo, "After BdsConnectAllEfi - additional dispatch starts\n");
        status = BdsDispatchDrivers();
        DebugPrint(kDebugBdsInfo, "After BdsConnectAllEfi Dispatch Status = %X\n", status);
    } while (!EFI_ERROR(status));
    DebugPrint(kDebugBdsInfo, "%a Exit. Elapsed %ld\n", "BdsConnectAllDriversToAllControllers",
               stopwatch.Nanoseconds());
}

EFI_STATUS BdsConnectDevicePath(const EFI_DEVICE_PATH_PROTOCOL* path) {
    return ConnectEachInstance(path, false);
}

EFI_STATUS BdsConnectDevicePathRecursive(const EFI_DEVICE_PATH_PROTOCOL* path) {
    return ConnectEachInstance(path, true);
}

void BdsConnectUsbHostControllers() {
    // Both are found before the first is connected: what appears in between has a driver already.
    HandleBuffer newer;
    HandleBuffer older;
    static_cast<void>(newer.LocateByProtocol(gEfiUsb2HcProtocolGuid));
    static_cast<void>(older.LocateByProtocol(gEfiUsbHcProtocolGuid));
    ConnectHandles(newer, true);
    ConnectHandles(older, true);
}

EFI_STATUS BdsConnectUsbShortFormPath(const EFI_DEVICE_PATH_PROTOCOL* path,
                                      UINT8 programmingInterface) {
    if (!IsUsbShortForm(path)) {
        return EFI_INVALID_PARAMETER;
    }
    HandleBuffer functions;
    static_cast<void>(functions.LocateByProtocol(gEfiPciIoProtocolGuid));
    EFI_STATUS status = EFI_NOT_FOUND;
    for (EFI_HANDLE handle : functions.handles()) {
        if (IsUsbHostController(handle, programmingInterface) &&
            !EFI_ERROR(ConnectHandle(handle, false, path))) {
            status = EFI_SUCCESS;
        }
    }
    return status;
}

EFI_STATUS BdsDispatchDrivers() {
    return gDS == nullptr ? EFI_UNSUPPORTED : gDS->Dispatch();
}

} // namespace kelm
