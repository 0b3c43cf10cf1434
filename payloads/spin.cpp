// A loader that is stuck and asks nothing of the firmware any more. Only the watchdog ends it.
#include "payloads/Payload.h"

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE* systemTable) {
    payload::Say(systemTable, u"Waiting for another processor");
    for (;;) {
        __builtin_ia32_pause();
    }
}
