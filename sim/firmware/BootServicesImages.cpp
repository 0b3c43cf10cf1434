// Boot services: images and the end of boot services.
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/ImageService.h"
#include "sim/firmware/ServiceEntry.h"
#include "sim/firmware/VariableService.h"

namespace sim {

namespace {

ImageService& Images() {
    return *Platform::Current().images;
}

EFI_STATUS EFIAPI LoadImage(BOOLEAN bootPolicy, EFI_HANDLE parent, EFI_DEVICE_PATH_PROTOCOL* path,
                            void* source, UINTN sourceSize, EFI_HANDLE* image) {
    if (auto injected = Enter("LoadImage", kBelowCallback)) {
        return *injected;
    }
    return Images().Load(bootPolicy != FALSE, parent, path, source, sourceSize, image);
}

EFI_STATUS EFIAPI StartImage(EFI_HANDLE image, UINTN* exitDataSize, CHAR16** exitData) {
    if (auto injected = Enter("StartImage", kBelowCallback)) {
        return *injected;
    }
    return Images().Start(image, exitDataSize, exitData);
}

EFI_STATUS EFIAPI Exit(EFI_HANDLE image, EFI_STATUS status, UINTN exitDataSize, CHAR16* exitData) {
    if (auto injected = Enter("Exit", TPL_CALLBACK)) {
        return *injected;
    }
    return Images().Exit(image, status, exitDataSize, exitData);
}

EFI_STATUS EFIAPI UnloadImage(EFI_HANDLE image) {
    if (auto injected = Enter("UnloadImage", TPL_CALLBACK)) {
        return *injected;
    }
    return Images().Unload(image);
}

EFI_STATUS EFIAPI ExitBootServices(EFI_HANDLE image, UINTN mapKey) {
    if (auto injected = Enter("ExitBootServices", TPL_APPLICATION)) {
        return *injected;
    }
    Platform& platform = Platform::Current();
    if (!platform.handles->Has(image, gEfiLoadedImageProtocolGuid)) {
        return EFI_INVALID_PARAMETER;
    }
    if (platform.core->BeginsExitBootServices()) {
        platform.events->SignalGroup(gEfiEventBeforeExitBootServicesGuid);
    }
    // Those notifications may have changed the map; then the caller reads it again.
    if (mapKey != platform.arena->MapKey()) {
        return EFI_INVALID_PARAMETER;
    }
    platform.events->SignalGroup(gEfiEventExitBootServicesGuid);
    platform.variables->EnterRuntime();
    platform.End(EndReason::OsStarted, "boot services were exited");
}

} // namespace

void FillImageServices(EFI_BOOT_SERVICES& table) {
    table.LoadImage = LoadImage;
    table.StartImage = StartImage;
    table.Exit = Exit;
    table.UnloadImage = UnloadImage;
    table.ExitBootServices = ExitBootServices;
}

} // namespace sim
