// Virtual time. Nothing in the simulated server sleeps: whoever would wait moves this clock, and
// what was scheduled for the time in between happens on the way, in the order of its time and, at
// the same time, in the order in which it was scheduled.
//
// A happening runs on the stack of whoever moves the clock, below frames of the driver: it must not
// throw, and it may move the clock itself or end the boot.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

namespace sim {

// What a happening means to a driver that only waits for a key.
enum class Waking {
    Yes, // it may end the wait: a key, a single-shot timer, an answer of the controller
    No,  // it comes again and again whatever happens: a periodic timer
};

class Clock {
public:
    using Id = std::uint64_t; // never 0
    using Happening = std::function<void()>;

    // At `limit` microseconds the clock calls `atLimit`, which ends the boot; the clock never shows
    // a later time. When `atLimit` returns (a clock without a boot), time simply stands still.
    Clock(std::uint64_t limit, std::function<void()> atLimit);
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    // Microseconds since power-on.
    std::uint64_t Now() const { return now_; }

    // Moves time forward and lets everything happen that is due until then, that moment included.
    // Advance(0) runs what is due now.
    void Advance(std::uint64_t microseconds);
    // The same up to an absolute time; nothing when it has passed.
    void AdvanceTo(std::uint64_t time);

    // Lets `happening` happen once at the absolute time `at`, or at the next advance when that has
    // passed.
    Id Schedule(std::uint64_t at, Happening happening, Waking waking = Waking::Yes);
    // Takes it back. False when it has happened, was cancelled or never existed.
    bool Cancel(Id id);

    // The time of the next happening; nothing when none is scheduled.
    std::optional<std::uint64_t> NextDue() const;
    // Whether anything is scheduled that may end a wait.
    bool HasWaking() const { return waking_ != 0; }

    std::uint64_t Limit() const { return limit_; }

private:
    struct Entry {
        Happening happening;
        Waking waking;
    };
    using Key = std::pair<std::uint64_t, Id>; // time, order of scheduling

    void RunNext();

    std::uint64_t now_ = 0;
    std::uint64_t limit_;
    std::function<void()> atLimit_;
    Id nextId_ = 1;
    std::size_t waking_ = 0;
    std::map<Key, Entry> entries_;
    std::map<Id, std::uint64_t> times_;
    // Happenings that run now, outermost first. They stand here and not on the stack of the
    // advance, because a happening may end the boot and that stack is then dropped.
    std::map<Id, Happening> running_;
};

} // namespace sim
