#include "sim/trace/Trace.h"

#include <ostream>
#include <utility>

namespace sim {

void Trace::SetClock(std::function<std::uint64_t()> now) {
    now_ = std::move(now);
}

void Trace::AttachStream(std::ostream* stream) {
    stream_ = stream;
}

void Trace::SetListener(std::function<void(const Json&)> listener) {
    listener_ = std::move(listener);
}

void Trace::Record(std::string_view event, Json fields) {
    Json line = {{"t", now_ ? now_() : 0}, {"event", event}};
    for (auto& [name, value] : fields.items()) {
        line[name] = std::move(value);
    }
    events_.push_back(std::move(line));
    if (stream_ != nullptr) {
        // Flushed each time: the trace of a tool that dies is worth most.
        *stream_ << TraceLine(events_.back()) << '\n' << std::flush;
    }
    if (listener_) {
        // A copy, because a listener may look at the trace while it grows.
        const Json recorded = events_.back();
        listener_(recorded);
    }
}

std::vector<Json> Trace::EventsOf(std::string_view event) const {
    std::vector<Json> found;
    for (const Json& line : events_) {
        if (line["event"] == event) {
            found.push_back(line);
        }
    }
    return found;
}

std::string Trace::Text() const {
    std::string text;
    for (const Json& event : events_) {
        text += TraceLine(event);
        text += '\n';
    }
    return text;
}

std::string TraceLine(const Json& event) {
    // Texts come from the driver and may be anything: bytes that are not UTF-8 become U+FFFD.
    return event.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace sim
