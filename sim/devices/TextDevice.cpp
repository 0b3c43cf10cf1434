#include "sim/devices/TextDevice.h"

namespace sim {

std::string ConsoleName(const Device& device) {
    const Device* named = &device;
    while (named->id.empty() && named->parent != nullptr) {
        named = named->parent;
    }
    return named->id.empty() ? device.Name() : named->id;
}

} // namespace sim
