// Texts of the repository that are part of the program, so that it runs from anywhere.
#pragma once

#include <string_view>

namespace sim {

extern const std::string_view kMachineSchemaText;  // sim/machine/machine.schema.json
extern const std::string_view kDefaultMachineText; // machines/default.json

} // namespace sim
