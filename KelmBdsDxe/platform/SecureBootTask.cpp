#include "platform/SecureBootTask.h"

#include "kelm/SecureBootMgmtProtocol.h"
#include "library/firmware/Protocol.h"

namespace kelm {

namespace {

EFI_STATUS LocateHandler(NimborSecureBootMgmtProtocol*& handler) {
    return LocateProtocolOrLog(handler,
                               "Error !!! Unable to locate NimborSecureBootMgmtProtocol.\r\n");
}

} // namespace

bool BdsGetSecureBootPendingTask() {
    NimborSecureBootMgmtProtocol* handler = nullptr;
    return !EFI_ERROR(LocateHandler(handler)) && handler->GetPendingTask(handler) != FALSE;
}

void BdsProcessSecureBootTask(bool pending) {
    NimborSecureBootMgmtProtocol* handler = nullptr;
    if (!EFI_ERROR(LocateHandler(handler))) {
        static_cast<void>(handler->ProcessTask(handler, pending ? TRUE : FALSE));
    }
}

} // namespace kelm
