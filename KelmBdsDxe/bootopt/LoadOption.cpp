#include "bootopt/LoadOption.h"

#include "library/firmware/Pool.h"

namespace kelm {

void BdsFreeBootOption(BootOptionRecord* record) {
    if (record == nullptr) {
        return;
    }
    FreePool(record->DevicePath);
    FreePool(record->Description);
    FreePool(record->LoadOptions);
    FreePool(record);
}

} // namespace kelm
