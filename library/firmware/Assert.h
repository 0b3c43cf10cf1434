// Assertions: a broken invariant of our own. It is logged with its place and the boot goes on; a
// server that stops in POST over one helps nobody.
#pragma once

namespace kelm {

void ReportAssertion(const char* file, int line, const char* expression);

} // namespace kelm

#define KELM_ASSERT(expression)                                                                    \
    do {                                                                                           \
        if (!(expression)) {                                                                       \
            ::kelm::ReportAssertion(__FILE__, __LINE__, #expression);                              \
        }                                                                                          \
    } while (false)
