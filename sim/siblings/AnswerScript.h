// Scripted answers of the management controller: the machine file lists, for each transport, what
// the controller says to which request, how late, and how often. The first entry that fits and is
// not used up answers; an entry with "times" gives way to the next one that fits.
#pragma once

#include "sim/machine/MachineDescription.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sim {

struct ScriptedAnswer {
    std::uint8_t netFunction = 0; // IPMI only
    std::uint16_t command = 0;
    std::vector<std::uint8_t> request; // how the request must begin
    std::optional<std::vector<std::uint8_t>> response;
    EFI_STATUS status = EFI_SUCCESS;
    std::uint64_t delay = 0; // microseconds
    std::optional<std::uint64_t> times;
    std::uint64_t used = 0;
};

class AnswerScript {
public:
    enum class Kind { Ipmi, Sma };

    // Reads the list at `place`. Throws MachineFileError.
    AnswerScript(const MachineDescription& machine, const std::string& place, Kind kind);

    // The entry that answers, or nullptr. The caller counts `used` once it is answered.
    ScriptedAnswer* Find(std::uint8_t netFunction, std::uint16_t command,
                         std::span<const std::uint8_t> request);

private:
    std::vector<ScriptedAnswer> answers_;
};

} // namespace sim
