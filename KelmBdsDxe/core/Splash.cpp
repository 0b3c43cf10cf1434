#include "core/Splash.h"

#include "core/DriverState.h"
#include "kelm/SplashProtocol.h"
#include "library/firmware/Protocol.h"

namespace kelm {

void BdsShowSplash(bool on) {
    auto* splash = FindService<KelmEarlyVideoSplashProtocol>();
    if (splash != nullptr) {
        static_cast<void>(splash->Show(splash, on ? TRUE : FALSE));
    }
    gDriver.boot.splashActive = on && splash != nullptr;
}

} // namespace kelm
