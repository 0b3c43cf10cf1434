#include "core/HookPoints.h"

#include "core/DriverState.h"
#include "library/firmware/Assert.h"
#include "library/firmware/Services.h"

namespace kelm {

namespace {

// {2D0A1F5E-6E55-4C57-9B1C-0F3D8A5B7E21}
constexpr EFI_GUID kHookHandleGuid = {
    0x2d0a1f5e, 0x6e55, 0x4c57, {0x9b, 0x1c, 0x0f, 0x3d, 0x8a, 0x5b, 0x7e, 0x21}};

// A handle goes with its last protocol; this one keeps the hook handle between two hook points. Its
// interface means nothing; it is not null because null interfaces are signals.
constinit UINT8 mHookHandleMark = 0;

EFI_STATUS MakeHookHandle(EFI_HANDLE& handle) {
    if (handle != nullptr) {
        return EFI_SUCCESS;
    }
    return gBS->InstallProtocolInterface(&handle, &kHookHandleGuid, EFI_NATIVE_INTERFACE,
                                         &mHookHandleMark);
}

} // namespace

void BdsSignalHookPoint(const EFI_GUID& hook) {
    EFI_HANDLE& handle = gDriver.core.hookHandle;
    EFI_STATUS status = MakeHookHandle(handle);
    if (!EFI_ERROR(status)) {
        void* interface = nullptr;
        if (!EFI_ERROR(gBS->HandleProtocol(handle, &hook, &interface))) {
            static_cast<void>(gBS->UninstallProtocolInterface(handle, &hook, interface));
        }
        status = gBS->InstallProtocolInterface(&handle, &hook, EFI_NATIVE_INTERFACE, nullptr);
    }
    KELM_ASSERT(!EFI_ERROR(status));
}

} // namespace kelm
