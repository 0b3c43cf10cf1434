#include "platform/BoardInfo.h"

#include "library/firmware/Protocol.h"

namespace kelm {

const KelmBoardRecord* BdsBoardRecord() {
    auto* service = FindService<KelmBoardInfoProtocol>();
    const KelmBoardRecord* record = nullptr;
    if (service == nullptr || EFI_ERROR(service->GetBoardRecord(service, &record))) {
        return nullptr;
    }
    return record;
}

} // namespace kelm
