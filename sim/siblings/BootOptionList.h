// The boot options of BootOrder as a firmware tool shows them.
#pragma once

#include "sim/firmware/Platform.h"

#include <string>
#include <vector>

namespace sim {

struct ListedBootOption {
    UINT16 number;
    bool active;
    std::u16string description;
};

// In the order of BootOrder; options that are missing or malformed are left out.
std::vector<ListedBootOption> ListBootOptions(const Platform& platform);

} // namespace sim
