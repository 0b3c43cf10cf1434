// The record of a boot: one event after another, each with the virtual time at which it happened.
//
// Every part of the simulated server records here what a qualifying engineer would want to see.
// Events are kept in memory for tests and, when a stream is attached, written to it at once as JSON
// Lines, so that a trace is complete up to the moment even if the tool dies.
// docs/trace.md describes every event.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

using Json = nlohmann::ordered_json;

class Trace {
public:
    // `now` gives the virtual time in microseconds; unset means 0.
    void SetClock(std::function<std::uint64_t()> now);
    // Events recorded from here on are also written to `stream` (not owned; nullptr detaches).
    void AttachStream(std::ostream* stream);
    // Called with every event after it was recorded (screen printing, log printing).
    void SetListener(std::function<void(const Json&)> listener);

    // Records {"t": now, "event": event, ...fields}. `fields` is an object; its order is kept.
    void Record(std::string_view event, Json fields = Json::object());

    const std::vector<Json>& Events() const { return events_; }
    // The events of one kind, in order.
    std::vector<Json> EventsOf(std::string_view event) const;
    // The whole trace as JSON Lines, byte for byte what a stream would have received.
    std::string Text() const;

private:
    std::function<std::uint64_t()> now_;
    std::function<void(const Json&)> listener_;
    std::ostream* stream_ = nullptr;
    std::vector<Json> events_;
};

// One event as it stands in a trace file, without the line end. Byte-stable on every host.
std::string TraceLine(const Json& event);

} // namespace sim
