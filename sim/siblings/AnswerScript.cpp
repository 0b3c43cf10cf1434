#include "sim/siblings/AnswerScript.h"

#include "sim/siblings/MachineReader.h"

#include <algorithm>

namespace sim {

namespace {

// What the size fields of the two transports can say.
constexpr std::size_t kMaxIpmiMessage = 0xFF;
constexpr std::size_t kMaxSmaMessage = 0xFFFF;

} // namespace

AnswerScript::AnswerScript(const MachineDescription& machine, const std::string& place, Kind kind) {
    const bool ipmi = kind == Kind::Ipmi;
    const std::size_t maxSize = ipmi ? kMaxIpmiMessage : kMaxSmaMessage;
    for (std::size_t i = 0; i < machine.At(place).size(); i++) {
        const std::string entry = place + "/" + std::to_string(i);
        ScriptedAnswer answer;
        answer.netFunction = std::uint8_t(NumberAt(machine, entry + "/netfn", 0, 0xFF));
        answer.command =
            std::uint16_t(NumberAt(machine, entry + "/command", 0, ipmi ? 0xFF : 0xFFFF));
        answer.request = HexAt(machine, entry + "/request", maxSize);
        if (!machine.At(entry + "/response").is_null()) {
            answer.response = HexAt(machine, entry + "/response", maxSize);
        }
        answer.status = StatusAt(machine, entry + "/status", EFI_SUCCESS);
        answer.delay = NumberAt(machine, entry + "/delayMicroseconds", 0);
        if (!machine.At(entry + "/times").is_null()) {
            answer.times = NumberAt(machine, entry + "/times", 0);
        }
        answers_.push_back(std::move(answer));
    }
}

ScriptedAnswer* AnswerScript::Find(std::uint8_t netFunction, std::uint16_t command,
                                   std::span<const std::uint8_t> request) {
    for (ScriptedAnswer& answer : answers_) {
        const bool left = !answer.times || answer.used < *answer.times;
        const bool begins =
            request.size() >= answer.request.size() &&
            std::equal(answer.request.begin(), answer.request.end(), request.begin());
        if (left && begins && answer.netFunction == netFunction && answer.command == command) {
            return &answer;
        }
    }
    return nullptr;
}

} // namespace sim
