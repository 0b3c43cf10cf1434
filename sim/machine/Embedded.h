// What of the repository is part of the program, so that it runs from anywhere.
#pragma once

#include <span>
#include <string_view>

namespace sim {

extern const std::string_view kMachineSchemaText;  // sim/machine/machine.schema.json
extern const std::string_view kDefaultMachineText; // machines/default.json

struct EmbeddedFile {
    std::string_view name; // without folder and extension
    std::string_view bytes;
};
extern const std::span<const EmbeddedFile> kPayloads; // payloads/*.cpp, as images

} // namespace sim
