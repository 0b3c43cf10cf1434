#include "mgmt/SmaJobs.h"

#include "kelm/AttributeNames.h"
#include "services/Attributes.h"

namespace kelm {

bool BdsMfgSuppressReboots() {
    UINT16 value = 0;
    return !EFI_ERROR(BdsGetAttributeWord(kAttributeMfgSuppressReboots, &value)) && value != 0;
}

} // namespace kelm
