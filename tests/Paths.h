// Where a test finds what is not part of its own program. Absolute paths, written by the build.
#pragma once

namespace paths {

// The repository's root, without a slash at the end: for machines/ and other files that ship.
extern const char* const kRepository;

// kelm-sim, built before the tests.
extern const char* const kSimProgram;

} // namespace paths
