// A boot menu that is itself a boot option: has the boot manager boot Boot0001 and answers what
// came of it.
#include "kelm/BdsInterfaceProtocol.h"
#include "payloads/Payload.h"
#include "uefi/BootServices.h"

namespace {

constexpr UINT16 kOption = 1;

} // namespace

extern "C" EFI_STATUS EFIAPI _ModuleEntryPoint(EFI_HANDLE, EFI_SYSTEM_TABLE* systemTable) {
    void* interface = nullptr;
    const EFI_STATUS status = systemTable->BootServices->LocateProtocol(
        &gKelmBdsInterfaceProtocolGuid, nullptr, &interface);
    if (EFI_ERROR(status)) {
        payload::Say(systemTable, u"There is no boot manager");
        return status;
    }
    payload::Say(systemTable, u"Handing over to Boot0001");
    return static_cast<KelmBdsInterfaceProtocol*>(interface)->BootByOptionNumber(kOption, 0);
}
