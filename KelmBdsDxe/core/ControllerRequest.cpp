// Boot flags of the controller that ask for a tool instead of a boot device.

#include "boot/AttributeBoot.h"
#include "boot/ControllerBootFlags.h"
#include "core/BootTask.h"
#include "core/Forgeline.h"
#include "core/UserEntries.h"

namespace kelm {

namespace {

void EnterSetupFunction(UINT8 instance) {
    switch (instance) {
    case kSetupInstanceSetup:
        static_cast<void>(BdsEnterSetup());
        break;
    case kSetupInstanceBootManager:
        static_cast<void>(BdsEnterBootManager());
        break;
    case kSetupInstanceForgeline:
        static_cast<void>(BdsEnterForgelineGui());
        break;
    case kSetupInstanceDevicePath:
        static_cast<void>(BdsProcessAttributeBoot());
        break;
    default:
        break;
    }
}

} // namespace

void BdsProcessControllerRequest() {
    const ControllerBootRequest request = BdsGetControllerBootRequest();
    if (request.selector == kBootSelectorSetup) {
        EnterSetupFunction(request.instance);
    } else if (request.selector == kBootSelectorDiagnostics) {
        static_cast<void>(BdsEnterDiags());
    }
}

} // namespace kelm
