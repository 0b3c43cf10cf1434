#include "mgmt/Rci2Table.h"

#include "core/DriverState.h"

namespace kelm {

void BdsBuildRci2TableOnce() {
    if (!gDriver.mgmt.rci2TableBuilt) {
        static_cast<void>(BdsBuildRci2Table());
        gDriver.mgmt.rci2TableBuilt = true;
    }
}

} // namespace kelm
