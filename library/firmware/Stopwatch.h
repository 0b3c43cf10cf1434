// Elapsed time by the platform's performance counter.
#pragma once

#include "uefi/Base.h"

struct EFI_TIMESTAMP_PROTOCOL;

namespace kelm {

// Runs from its construction. On a platform that publishes no counter it always shows 0.
class Stopwatch {
public:
    Stopwatch();
    // Since the construction; a counter that rolled over more than once shows too little.
    UINT64 Nanoseconds() const;

private:
    EFI_TIMESTAMP_PROTOCOL* counter_;
    UINT64 start_ = 0;
};

} // namespace kelm
