// A loader that does not find what it should load.
#include "payloads/Payload.h"

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE* systemTable) {
    payload::Say(systemTable, u"There is no operating system to load");
    return EFI_LOAD_ERROR;
}
