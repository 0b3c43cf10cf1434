#include "core/DriverState.h"

namespace kelm {

constinit DriverState gDriver{};

void ResetDriverState() {
    gDriver = DriverState{};
}

} // namespace kelm
