// Variables that nobody may change after POST has begun.
#pragma once

namespace kelm {

// Registers a lock-now policy for each of kReadOnlyVariables with the variable policy service, when
// there is one. A registration that fails is an assertion; the others still follow.
void BdsLockReadOnlyVariables();

} // namespace kelm
