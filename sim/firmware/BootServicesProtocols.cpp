// Boot services: the handle database and the driver model as the driver calls them.
#include "sim/firmware/DriverModel.h"
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/ImageService.h"
#include "sim/firmware/ServiceEntry.h"
#include "sim/firmware/TraceText.h"

#include <algorithm>

namespace sim {

namespace {

HandleDatabase& Handles() {
    return *Platform::Current().handles;
}

EFI_STATUS EFIAPI InstallProtocolInterface(EFI_HANDLE* handle, const EFI_GUID* protocol,
                                           EFI_INTERFACE_TYPE type, void* interface) {
    if (auto injected = Enter("InstallProtocolInterface", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr || type != EFI_NATIVE_INTERFACE) {
        return EFI_INVALID_PARAMETER;
    }
    return Handles().Install(handle, *protocol, interface);
}

EFI_STATUS EFIAPI ReinstallProtocolInterface(EFI_HANDLE handle, const EFI_GUID* protocol,
                                             void* oldInterface, void* newInterface) {
    if (auto injected = Enter("ReinstallProtocolInterface", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Handles().Reinstall(handle, *protocol, oldInterface, newInterface);
}

EFI_STATUS EFIAPI UninstallProtocolInterface(EFI_HANDLE handle, const EFI_GUID* protocol,
                                             void* interface) {
    if (auto injected = Enter("UninstallProtocolInterface", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Handles().Uninstall(handle, *protocol, interface);
}

EFI_STATUS EFIAPI HandleProtocol(EFI_HANDLE handle, const EFI_GUID* protocol, void** interface) {
    if (auto injected = Enter("HandleProtocol", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Handles().Open(handle, *protocol, interface,
                          Platform::Current().images->FirmwareHandle(), nullptr,
                          EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL);
}

EFI_STATUS EFIAPI OpenProtocol(EFI_HANDLE handle, const EFI_GUID* protocol, void** interface,
                               EFI_HANDLE agent, EFI_HANDLE controller, UINT32 attributes) {
    if (auto injected = Enter("OpenProtocol", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Handles().Open(handle, *protocol, interface, agent, controller, attributes);
}

EFI_STATUS EFIAPI CloseProtocol(EFI_HANDLE handle, const EFI_GUID* protocol, EFI_HANDLE agent,
                                EFI_HANDLE controller) {
    if (auto injected = Enter("CloseProtocol", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Handles().Close(handle, *protocol, agent, controller);
}

EFI_STATUS EFIAPI OpenProtocolInformation(EFI_HANDLE handle, const EFI_GUID* protocol,
                                          EFI_OPEN_PROTOCOL_INFORMATION_ENTRY** entries,
                                          UINTN* count) {
    if (auto injected = Enter("OpenProtocolInformation", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr || entries == nullptr || count == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    std::vector<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY> openers;
    if (const EFI_STATUS status = Handles().Openers(handle, *protocol, openers);
        EFI_ERROR(status)) {
        return status;
    }
    void* buffer = Platform::Current().memory->Copy(
        openers.data(), openers.size() * sizeof(openers[0]), kOwnerOpenProtocolInformation);
    if (buffer == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    *entries = static_cast<EFI_OPEN_PROTOCOL_INFORMATION_ENTRY*>(buffer);
    *count = openers.size();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI ProtocolsPerHandle(EFI_HANDLE handle, EFI_GUID*** protocols, UINTN* count) {
    if (auto injected = Enter("ProtocolsPerHandle", kProtocolServices)) {
        return *injected;
    }
    if (!Handles().IsValid(handle) || protocols == nullptr || count == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    // One buffer: the list of pointers, and the GUIDs that they point to behind it.
    const std::vector<EFI_GUID> found = Handles().ProtocolsOn(handle);
    void* buffer = Platform::Current().memory->Allocate(
        found.size() * (sizeof(EFI_GUID*) + sizeof(EFI_GUID)), kOwnerProtocolsPerHandle);
    if (buffer == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    auto** pointers = static_cast<EFI_GUID**>(buffer);
    auto* guids = reinterpret_cast<EFI_GUID*>(pointers + found.size());
    for (std::size_t i = 0; i < found.size(); i++) {
        guids[i] = found[i];
        pointers[i] = &guids[i];
    }
    *protocols = pointers;
    *count = found.size();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI RegisterProtocolNotify(const EFI_GUID* protocol, EFI_EVENT event,
                                         void** registration) {
    if (auto injected = Enter("RegisterProtocolNotify", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Handles().RegisterNotify(*protocol, event, registration);
}

EFI_STATUS EFIAPI LocateHandle(EFI_LOCATE_SEARCH_TYPE kind, const EFI_GUID* protocol, void* key,
                               UINTN* size, EFI_HANDLE* buffer) {
    if (auto injected = Enter("LocateHandle", kProtocolServices)) {
        return *injected;
    }
    if (size == nullptr || (*size != 0 && buffer == nullptr)) {
        return EFI_INVALID_PARAMETER;
    }
    std::vector<EFI_HANDLE> found;
    if (const EFI_STATUS status = Handles().Locate(kind, protocol, key, found, false);
        EFI_ERROR(status)) {
        return status;
    }
    const UINTN needed = found.size() * sizeof(EFI_HANDLE);
    const bool fits = *size >= needed;
    *size = needed;
    if (!fits) {
        return EFI_BUFFER_TOO_SMALL;
    }
    static_cast<void>(Handles().Locate(kind, protocol, key, found, true));
    std::copy(found.begin(), found.end(), buffer);
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI LocateHandleBuffer(EFI_LOCATE_SEARCH_TYPE kind, const EFI_GUID* protocol,
                                     void* key, UINTN* count, EFI_HANDLE** buffer) {
    if (auto injected = Enter("LocateHandleBuffer", kProtocolServices)) {
        return *injected;
    }
    if (count == nullptr || buffer == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *count = 0;
    *buffer = nullptr;
    std::vector<EFI_HANDLE> found;
    if (const EFI_STATUS status = Handles().Locate(kind, protocol, key, found); EFI_ERROR(status)) {
        return status;
    }
    void* copy = Platform::Current().memory->Copy(found.data(), found.size() * sizeof(EFI_HANDLE),
                                                  kOwnerLocateHandleBuffer);
    if (copy == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    *buffer = static_cast<EFI_HANDLE*>(copy);
    *count = found.size();
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI LocateProtocol(const EFI_GUID* protocol, void* registration, void** interface) {
    if (auto injected = Enter("LocateProtocol", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr || interface == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Handles().LocateProtocol(*protocol, registration, interface);
}

EFI_STATUS EFIAPI LocateDevicePath(const EFI_GUID* protocol, EFI_DEVICE_PATH_PROTOCOL** path,
                                   EFI_HANDLE* device) {
    if (auto injected = Enter("LocateDevicePath", kProtocolServices)) {
        return *injected;
    }
    if (protocol == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    return Handles().LocateDevicePath(*protocol, path, device);
}

// The pairs of a variadic call are walked a second time to take back what was done.
void UninstallPairs(EFI_HANDLE handle, UINTN count, __builtin_ms_va_list arguments) {
    for (UINTN i = 0; i < count; i++) {
        const auto* protocol = __builtin_va_arg(arguments, const EFI_GUID*);
        void* interface = __builtin_va_arg(arguments, void*);
        static_cast<void>(Handles().Uninstall(handle, *protocol, interface));
    }
}

// Two identical device paths would name one device twice.
bool HasSameDevicePath(const EFI_GUID& protocol, void* interface) {
    if (!(protocol == gEfiDevicePathProtocolGuid) || interface == nullptr) {
        return false;
    }
    auto* rest = static_cast<EFI_DEVICE_PATH_PROTOCOL*>(interface);
    EFI_HANDLE device = nullptr;
    return Handles().LocateDevicePath(protocol, &rest, &device) == EFI_SUCCESS &&
           rest->Type == kDevicePathTypeEnd && rest->SubType == kEndSubTypeEntire;
}

EFI_STATUS EFIAPI InstallMultipleProtocolInterfaces(EFI_HANDLE* handle, ...) {
    if (auto injected = Enter("InstallMultipleProtocolInterfaces", kProtocolServices)) {
        return *injected;
    }
    if (handle == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    EventService& events = *Platform::Current().events;
    // Notifications see all of the interfaces or none.
    const EFI_TPL level = events.RaiseTpl(std::max(events.Tpl(), EFI_TPL(TPL_NOTIFY)));
    const EFI_HANDLE original = *handle;
    EFI_STATUS status = EFI_SUCCESS;
    UINTN installed = 0;
    __builtin_ms_va_list arguments;
    __builtin_ms_va_start(arguments, handle);
    while (const auto* protocol = __builtin_va_arg(arguments, const EFI_GUID*)) {
        void* interface = __builtin_va_arg(arguments, void*);
        status = HasSameDevicePath(*protocol, interface)
                     ? EFI_ALREADY_STARTED
                     : Handles().Install(handle, *protocol, interface);
        if (EFI_ERROR(status)) {
            break;
        }
        installed++;
    }
    __builtin_ms_va_end(arguments);
    if (EFI_ERROR(status)) {
        __builtin_ms_va_start(arguments, handle);
        UninstallPairs(*handle, installed, arguments);
        __builtin_ms_va_end(arguments);
        *handle = original;
    }
    events.RestoreTpl(level);
    return status;
}

EFI_STATUS EFIAPI UninstallMultipleProtocolInterfaces(EFI_HANDLE handle, ...) {
    if (auto injected = Enter("UninstallMultipleProtocolInterfaces", kProtocolServices)) {
        return *injected;
    }
    EFI_STATUS status = EFI_SUCCESS;
    UINTN uninstalled = 0;
    __builtin_ms_va_list arguments;
    __builtin_ms_va_start(arguments, handle);
    while (const auto* protocol = __builtin_va_arg(arguments, const EFI_GUID*)) {
        void* interface = __builtin_va_arg(arguments, void*);
        status = Handles().Uninstall(handle, *protocol, interface);
        if (EFI_ERROR(status)) {
            break;
        }
        uninstalled++;
    }
    __builtin_ms_va_end(arguments);
    if (EFI_ERROR(status)) {
        __builtin_ms_va_start(arguments, handle);
        for (UINTN i = 0; i < uninstalled; i++) {
            const auto* protocol = __builtin_va_arg(arguments, const EFI_GUID*);
            void* interface = __builtin_va_arg(arguments, void*);
            static_cast<void>(Handles().Install(&handle, *protocol, interface));
        }
        __builtin_ms_va_end(arguments);
        status = EFI_INVALID_PARAMETER;
    }
    return status;
}

EFI_STATUS EFIAPI ConnectController(EFI_HANDLE controller, EFI_HANDLE* driverImages,
                                    EFI_DEVICE_PATH_PROTOCOL* remainingPath, BOOLEAN recursive) {
    if (auto injected = Enter("ConnectController", kProtocolServices)) {
        return *injected;
    }
    Platform& platform = Platform::Current();
    // The path before the drivers change it; it belongs to the platform while they run.
    BootLocal<std::string> path(DevicePathText(static_cast<EFI_DEVICE_PATH_PROTOCOL*>(
        platform.handles->Find(controller, gEfiDevicePathProtocolGuid))));
    const EFI_STATUS status =
        platform.drivers->Connect(controller, driverImages, remainingPath, recursive != FALSE);
    platform.trace.Record(
        "connect",
        {{"path", *path}, {"recursive", recursive != FALSE}, {"status", StatusText(status)}});
    return status;
}

EFI_STATUS EFIAPI DisconnectController(EFI_HANDLE controller, EFI_HANDLE driverImage,
                                       EFI_HANDLE child) {
    if (auto injected = Enter("DisconnectController", kProtocolServices)) {
        return *injected;
    }
    return Platform::Current().drivers->Disconnect(controller, driverImage, child);
}

} // namespace

void FillProtocolServices(EFI_BOOT_SERVICES& table) {
    table.InstallProtocolInterface = InstallProtocolInterface;
    table.ReinstallProtocolInterface = ReinstallProtocolInterface;
    table.UninstallProtocolInterface = UninstallProtocolInterface;
    table.HandleProtocol = HandleProtocol;
    table.RegisterProtocolNotify = RegisterProtocolNotify;
    table.LocateHandle = LocateHandle;
    table.LocateDevicePath = LocateDevicePath;
    table.ConnectController = ConnectController;
    table.DisconnectController = DisconnectController;
    table.OpenProtocol = OpenProtocol;
    table.CloseProtocol = CloseProtocol;
    table.OpenProtocolInformation = OpenProtocolInformation;
    table.ProtocolsPerHandle = ProtocolsPerHandle;
    table.LocateHandleBuffer = LocateHandleBuffer;
    table.LocateProtocol = LocateProtocol;
    table.InstallMultipleProtocolInterfaces = InstallMultipleProtocolInterfaces;
    table.UninstallMultipleProtocolInterfaces = UninstallMultipleProtocolInterfaces;
}

} // namespace sim
