// What a fuzz target holds to be true of every input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

// Ends the program, with the place of the call, unless `holds`.
inline void Require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (!holds) {
        std::fprintf(stderr, "%s:%d: does not hold\n", file, line);
        std::abort();
    }
}

} // namespace fuzz
