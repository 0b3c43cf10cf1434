#include "core/HookPoints.h"

#include "core/DriverState.h"
#include "library/firmware/Assert.h"
#include "library/firmware/Services.h"

namespace kelm {

void BdsSignalHookPoint(const EFI_GUID& hook) {
    EFI_HANDLE& handle = gDriver.core.hookHandle;
    UINTN& installed = gDriver.core.hooksInstalled;
    void* interface = nullptr;
    if (handle != nullptr && !EFI_ERROR(gBS->HandleProtocol(handle, &hook, &interface)) &&
        !EFI_ERROR(gBS->UninstallProtocolInterface(handle, &hook, interface))) {
        --installed;
        if (installed == 0) {
            handle = nullptr; // a handle goes with its last protocol
        }
    }
    const EFI_STATUS status =
        gBS->InstallProtocolInterface(&handle, &hook, EFI_NATIVE_INTERFACE, nullptr);
    if (!EFI_ERROR(status)) {
        ++installed;
    }
    KELM_ASSERT(!EFI_ERROR(status));
}

} // namespace kelm
