// The splash screen that covers the text console during POST.
#pragma once

namespace kelm {

// Turns the splash on or off and keeps gDriver.boot.splashActive; without a splash service it is
// off.
void BdsShowSplash(bool on);

} // namespace kelm
