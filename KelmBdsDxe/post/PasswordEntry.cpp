#include "post/PasswordEntry.h"

#include "core/DriverState.h"
#include "kelm/PasswordProtocol.h"
#include "library/firmware/Protocol.h"

namespace kelm {

EFI_STATUS BdsLocatePasswords(KelmPasswordProtocol*& service) {
    service = gDriver.post.passwords;
    if (service != nullptr) {
        return EFI_SUCCESS;
    }
    const EFI_STATUS status = LocateService(service);
    gDriver.post.passwords = service;
    return status;
}

EFI_STATUS BdsPasswordEntryBegin() {
    KelmPasswordProtocol* service = nullptr;
    const EFI_STATUS status = BdsLocatePasswords(service);
    return EFI_ERROR(status) ? status : service->PasswordEntryBegin(service);
}

EFI_STATUS BdsPasswordEntryEnd() {
    KelmPasswordProtocol* service = nullptr;
    const EFI_STATUS status = BdsLocatePasswords(service);
    return EFI_ERROR(status) ? status : service->PasswordEntryEnd(service);
}

} // namespace kelm
