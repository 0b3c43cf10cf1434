// A tool that does its work and goes back to the firmware.
#include "payloads/Payload.h"

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE* systemTable) {
    payload::Say(systemTable, u"Everything is in order");
    return EFI_SUCCESS;
}
