// A loader of an operating system that has nothing to load: takes the machine over from the
// firmware.
#include "payloads/Payload.h"
#include "uefi/BootServices.h"

namespace {

// The map grows with the memory that holds it; a few more pieces cover that.
constexpr UINTN kSpare = 8;

} // namespace

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE image, EFI_SYSTEM_TABLE* systemTable) {
    EFI_BOOT_SERVICES* services = systemTable->BootServices;
    payload::Say(systemTable, u"Starting the operating system");

    // Once more when leaving boot services changes the map.
    for (int attempt = 0; attempt < 2; ++attempt) {
        UINTN size = 0;
        UINTN key = 0;
        UINTN pieceSize = 0;
        UINT32 version = 0;
        EFI_STATUS status = services->GetMemoryMap(&size, nullptr, &key, &pieceSize, &version);
        if (status != EFI_BUFFER_TOO_SMALL) {
            return EFI_LOAD_ERROR;
        }
        size += kSpare * pieceSize;
        void* map = nullptr;
        status = services->AllocatePool(EfiLoaderData, size, &map);
        if (EFI_ERROR(status)) {
            return status;
        }
        status = services->GetMemoryMap(&size, static_cast<EFI_MEMORY_DESCRIPTOR*>(map), &key,
                                        &pieceSize, &version);
        if (!EFI_ERROR(status)) {
            status = services->ExitBootServices(image, key);
        }
        if (!EFI_ERROR(status)) {
            for (;;) {
                asm volatile("hlt");
            }
        }
        static_cast<void>(services->FreePool(map));
    }
    payload::Say(systemTable, u"The firmware does not let go");
    return EFI_ABORTED;
}
