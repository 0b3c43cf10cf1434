#include "post/PasswordEntry.h"

#include "core/DriverState.h"
#include "kelm/PasswordProtocol.h"
#include "library/firmware/Protocol.h"

namespace kelm {

EFI_STATUS BdsPasswordEntryEnd() {
    KelmPasswordProtocol*& service = gDriver.post.passwords;
    if (service == nullptr) {
        const EFI_STATUS status = LocateProtocol(service);
        if (EFI_ERROR(status)) {
            return status;
        }
    }
    return service->PasswordEntryEnd(service);
}

} // namespace kelm
