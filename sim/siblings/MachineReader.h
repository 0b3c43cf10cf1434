// Typed reads of optional entries of a machine file, each by its JSON pointer, which an error
// names. All throw MachineFileError for a value of the wrong type or beyond its range.
#pragma once

#include "sim/machine/MachineDescription.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

std::uint64_t NumberAt(const MachineDescription& machine, const std::string& place,
                       std::uint64_t absent, std::uint64_t maximum = ~std::uint64_t{0});
bool FlagAt(const MachineDescription& machine, const std::string& place, bool absent);
EFI_STATUS StatusAt(const MachineDescription& machine, const std::string& place, EFI_STATUS absent);
// At most `maximum` bytes; empty when absent.
std::vector<std::uint8_t> HexAt(const MachineDescription& machine, const std::string& place,
                                std::size_t maximum);
// The place of a key within an object, with the key escaped.
std::string PlaceOf(std::string_view parent, std::string_view key);

} // namespace sim
