// Switching the console to the resolution that the display was made for.
#pragma once

namespace kelm {

// Sets the graphics mode of the one display that tells its native size, when it is larger than
// 1024 by 768 and the graphics output has it, and clears the screen. Does nothing with two such
// displays, or two graphics outputs to choose from.
void BdsSetNativeResolution();

} // namespace kelm
