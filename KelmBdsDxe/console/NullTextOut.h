// A text output that swallows everything, for a system without a standard-error device.
#pragma once

#include "uefi/SimpleTextOutput.h"

namespace kelm {

// Writes nothing; its output operations succeed, and what would need a screen is unsupported. It
// stands for the whole boot.
EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL* NullTextOut();

} // namespace kelm
