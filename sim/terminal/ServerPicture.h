// What a person in front of the server sees: the text screen of its console, and on rows that the
// screen leaves blank the splash screen, as long as it is on.
#pragma once

#include "sim/terminal/HostTerminal.h"

namespace sim {

class Platform;

// The status of the picture is left empty.
Picture PictureOf(Platform& platform);

} // namespace sim
