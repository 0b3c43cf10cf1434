#include "core/BootMode.h"

#include "core/DriverState.h"

namespace kelm {

EFI_STATUS BdsGetBootMode() {
    gDriver.boot.bootMode = kBootModeUefi;
    return EFI_SUCCESS;
}

} // namespace kelm
