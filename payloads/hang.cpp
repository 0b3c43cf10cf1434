// A loader that waits for something that never comes. Only the watchdog ends it.
#include "payloads/Payload.h"
#include "uefi/BootServices.h"

namespace {

constexpr UINTN kTenthOfASecond = 100000;

} // namespace

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE* systemTable) {
    payload::Say(systemTable, u"Waiting for the storage network");
    for (;;) {
        static_cast<void>(systemTable->BootServices->Stall(kTenthOfASecond));
    }
}
