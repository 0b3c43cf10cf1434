#include "services/ControllerType.h"

#include "kelm/DebugLevels.h"
#include "library/firmware/Debug.h"
#include "library/firmware/Pcd.h"

namespace kelm {

UINT8 GetBmcSupportLevel() {
    const UINT8 type = PcdGet8(kPcdBmcType);
    DebugPrint(kDebugInfo, "[%a] Get BmcType = %d.\n", "GetBmcSupportLevel", type);
    return type;
}

} // namespace kelm
