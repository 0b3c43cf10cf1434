// The record of misuse: what a well-behaved driver never does. A violation does not change what the
// service answers; it fails the test that caused it.
#pragma once

#include "sim/trace/Trace.h"

#include <string>
#include <string_view>
#include <vector>

namespace sim {

class Violations {
public:
    explicit Violations(Trace& trace) : trace_(trace) {}
    Violations(const Violations&) = delete;
    Violations& operator=(const Violations&) = delete;

    // Records the event `violation` and keeps the text. The text names no host address.
    void Record(std::string_view what);

    const std::vector<std::string>& All() const { return all_; }

private:
    Trace& trace_;
    std::vector<std::string> all_;
};

} // namespace sim
