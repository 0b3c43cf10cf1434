#include "library/firmware/Event.h"

namespace kelm {

void EFIAPI IgnoreEvent(EFI_EVENT, void*) {}

EFI_STATUS SignalEventGroup(const EFI_GUID& group) {
    Event event;
    const EFI_STATUS status = event.CreateInGroup(group, TPL_CALLBACK, IgnoreEvent);
    if (!EFI_ERROR(status)) {
        gBS->SignalEvent(event.get());
    }
    return status;
}

} // namespace kelm
