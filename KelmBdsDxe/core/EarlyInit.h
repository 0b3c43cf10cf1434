// The first work of the driver after it owns the machine: sixteen steps that settle state, strings,
// firmware identity, the interface protocol, boot mode, events and read-only variables.
#pragma once

namespace kelm {

// Runs all steps; a step that fails does not stop the others.
void BdsEarlyInit();

} // namespace kelm
