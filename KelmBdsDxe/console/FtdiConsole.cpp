#include "console/FtdiConsole.h"

#include "console/ConsoleVariable.h"
#include "console/SerialConsole.h"
#include "console/SerialSettings.h"
#include "kelm/EventGroups.h"
#include "kelm/FileGuids.h"
#include "kelm/PcdTokens.h"
#include "library/firmware/Event.h"
#include "library/firmware/Pcd.h"
#include "library/firmware/Protocol.h"
#include "uefi/GlobalVariable.h"
#include "uefi/SerialIo.h"
#include "uefi/SimpleTextOutput.h"

namespace kelm {

namespace {

// In the order in which they are changed.
constexpr const CHAR16* kConsoleVariables[] = {kConInName, kConOutName, kErrOutName};

void AddEverywhere(const EFI_DEVICE_PATH_PROTOCOL* path) {
    for (const CHAR16* name : kConsoleVariables) {
        static_cast<void>(BdsUpdateConsoleVariable(name, path, nullptr));
    }
}

void RemoveEverywhere(const EFI_DEVICE_PATH_PROTOCOL* path) {
    for (const CHAR16* name : kConsoleVariables) {
        static_cast<void>(BdsUpdateConsoleVariable(name, nullptr, path));
    }
}

void LogPath(const char* line, const EFI_DEVICE_PATH_PROTOCOL* path) {
    DebugPrint(kDebugBdsInfo, line, DevicePathText(path).get());
}

constexpr char kFoundFtdi[] = " Found FtdiUsbSerialConDevPath : %s\n";

bool IsFtdiAdapter(const EFI_SERIAL_IO_PROTOCOL* serial) {
    // Interfaces of the first revision end before the device type.
    return serial != nullptr && serial->Revision >= EFI_SERIAL_IO_PROTOCOL_REVISION1p1 &&
           serial->DeviceTypeGuid != nullptr &&
           *serial->DeviceTypeGuid == gFtdiUsbSerialDeviceTypeGuid;
}

EFI_SERIAL_IO_PROTOCOL* NearestSerialIo(EFI_DEVICE_PATH_PROTOCOL* path) {
    EFI_HANDLE handle = nullptr;
    if (EFI_ERROR(gBS->LocateDevicePath(&gEfiSerialIoProtocolGuid, &path, &handle))) {
        return nullptr;
    }
    return ProtocolOnHandle<EFI_SERIAL_IO_PROTOCOL>(handle);
}

// The terminal on the adapter; null when memory is out.
PoolPtr<EFI_DEVICE_PATH_PROTOCOL> TerminalPath(const EFI_DEVICE_PATH_PROTOCOL* adapter) {
    SERIAL_REDIRECTION_SETTINGS settings{};
    static_cast<void>(GetSerialRedirectionSettings(&settings)); // without any: VT100
    VENDOR_DEVICE_PATH terminal{};
    SetNodeHeader(&terminal.Header, kDevicePathTypeMessaging, kMessagingSubTypeVendor,
                  sizeof(terminal));
    terminal.Guid = settings.TerminalType == kTerminalTypeAnsi ? gEfiPcAnsiGuid : gEfiVT100Guid;

    const UINTN size = AppendDevicePathNode({}, adapter, &terminal.Header);
    if (size == 0) {
        return {}; // the adapter's path is broken
    }
    PoolPtr<EFI_DEVICE_PATH_PROTOCOL> path(
        reinterpret_cast<EFI_DEVICE_PATH_PROTOCOL*>(AllocatePool<UINT8>(size).release()));
    if (path) {
        static_cast<void>(AppendDevicePathNode({reinterpret_cast<UINT8*>(path.get()), size},
                                               adapter, &terminal.Header));
    }
    return path;
}

void PlaceFtdiConsole() {
    const bool redirectionActive = BdsSetupSerialConsoleDevicePath();
    const EFI_DEVICE_PATH_PROTOCOL* adapter = GetFtdiUsbSerialDevicePath();
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> terminal =
        adapter == nullptr ? PoolPtr<EFI_DEVICE_PATH_PROTOCOL>{} : TerminalPath(adapter);
    if (!terminal) {
        return;
    }
    if (redirectionActive) {
        FtdiUsbSerialSetConVarPriority(terminal.get());
        DebugPrint(kDebugBdsInfo,
                   " CR is enabled and update ConVar with FtdiUsbSerialConDevPath\n");
        static_cast<void>(SetBrowserMode(1));
        static_cast<void>(SignalEventGroup(gKelmConsoleRedirectionActiveGuid));
    } else {
        RemoveEverywhere(terminal.get());
        static_cast<void>(SetBrowserMode(0));
    }
    BdsDumpConsoleVariable(kConOutName);
    DebugPrint(kDebugBdsInfo, "FtdiUsbSerialConDevPathCallback End\n");
}

void EFIAPI FtdiUsbSerialConDevPathCallback(EFI_EVENT, void*) {
    DebugPrint(kDebugBdsInfo, "FtdiUsbSerialConDevPathCallback Start\n");
    BdsDumpConsoleVariable(kConOutName);
    PlaceFtdiConsole();
}

} // namespace

bool FtdiConsoleSupported() {
    return PcdGetBool(kPcdFtdiUsbSerialConsoleSupport);
}

void FtdiUsbSerialRemovePreviousDevicePathInConVar(const CHAR16* name) {
    DebugPrint(kDebugBds, "FtdiUsbSerialRemovePreviousDevicePathInConVar Start\n");
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> consoles = ReadConsoleVariable(name);
    for (auto* cursor = consoles.get(); const auto* instance = CutInstance(cursor);) {
        if (IsUsbSerialConsolePath(instance)) {
            DebugPrint(kDebugBds, " Found and removing FTDI previous Con Var- %s\n", name);
            static_cast<void>(BdsUpdateConsoleVariable(name, nullptr, instance));
        }
    }
}

void FtdiUsbSerialRegisterCallback() {
    Event event;
    EFI_STATUS status =
        event.Create(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, FtdiUsbSerialConDevPathCallback);
    if (!EFI_ERROR(status)) {
        void* registration = nullptr;
        status =
            gBS->RegisterProtocolNotify(&gEfiSimpleTextOutProtocolGuid, event.get(), &registration);
    }
    DebugPrint(kDebugBdsInfo,
               "Register protocol callback - FtdiUsbSerialConDevPathCallback() on SimpleTextOut "
               "%r\n",
               status);
    if (!EFI_ERROR(status)) {
        static_cast<void>(event.release()); // stands until boot services end
    }
}

EFI_DEVICE_PATH_PROTOCOL* GetFtdiUsbSerialDevicePath() {
    HandleBuffer ports;
    static_cast<void>(ports.LocateByProtocol(gEfiSerialIoProtocolGuid));
    for (EFI_HANDLE handle : ports.handles()) {
        auto* path = ProtocolOnHandle<EFI_DEVICE_PATH_PROTOCOL>(handle);
        if (path != nullptr && IsFtdiAdapter(NearestSerialIo(path))) {
            return path;
        }
    }
    return nullptr;
}

void FtdiUsbSerialSetConVarPriority(const EFI_DEVICE_PATH_PROTOCOL* ftdiPath) {
    LogPath(kFoundFtdi, ftdiPath);
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> first = GetSerialConDevPath(kConOutName);
    if (DevicePathStartsWith(first.get(), ftdiPath)) {
        DebugPrint(kDebugBds, "FTDI con dev is already in ConVar with 1st priority UART device and "
                              "return doing nothing\n");
        return;
    }
    if (first) {
        LogPath("  Found Serial1stConDevPath : %s\n", first.get());
        RemoveEverywhere(first.get());
    }
    const PoolPtr<EFI_DEVICE_PATH_PROTOCOL> second = GetSerialConDevPath(kConOutName);
    if (second) {
        LogPath("  Found Serial2ndConDevPath : %s\n", second.get());
        LogPath(kFoundFtdi, ftdiPath);
        RemoveEverywhere(second.get());
    }
    AddEverywhere(ftdiPath);
    // Behind it again, in their order.
    if (first) {
        AddEverywhere(first.get());
    }
    if (second) {
        AddEverywhere(second.get());
    }
}

} // namespace kelm
