#include "sim/firmware/Violations.h"

namespace sim {

void Violations::Record(std::string_view what) {
    all_.emplace_back(what);
    trace_.Record("violation", {{"what", what}});
}

} // namespace sim
