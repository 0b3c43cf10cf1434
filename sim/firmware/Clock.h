// Virtual time. Nothing in the simulated server sleeps: whoever would wait moves this clock, and
// what was scheduled for the time in between happens on the way, in the order of its time and, at
// the same time, in the order in which it was scheduled.
//
// A happening runs on the stack of whoever moves the clock, below frames of the driver: it must not
// throw, and it may move the clock itself or end the boot.
//
// When a person sits at the server, a Pacing holds virtual time back to the pace of real time and
// brings in what the person types. Without one, nothing of the host reaches the clock.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <tuple>

namespace sim {

// What a happening means to a driver that only waits for a key.
enum class Waking {
    Yes, // it may end the wait: a key, a single-shot timer, an answer of the controller
    No,  // it comes again and again whatever happens: a periodic timer
};

// Lets virtual time pass in real time. Both methods run on the stack of whoever moves the clock,
// and may end the boot there; they must not throw.
//
// Input is scheduled for a time later than `from`, and everything up to `from` is settled. That is
// what makes a session repeatable: input that is known from the start, for the same times, meets
// the boot at the same points.
class Pacing {
public:
    virtual ~Pacing() = default;

    // Time is about to pass from `from` to `until`, which is later. Returns when it may: `until`,
    // or the earlier time for which input was scheduled meanwhile.
    virtual std::uint64_t Wait(std::uint64_t from, std::uint64_t until) = 0;
    // Only input can wake the driver, and virtual time stands still: returns when some was
    // scheduled.
    virtual void AwaitInput(std::uint64_t from) = 0;
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
    // The same for something that a person does: it comes before everything else of its time,
    // whenever that was scheduled.
    Id ScheduleInput(std::uint64_t at, Happening happening);
    // Takes it back. False when it has happened, was cancelled or never existed.
    bool Cancel(Id id);

    // The time of the next happening; nothing when none is scheduled.
    std::optional<std::uint64_t> NextDue() const;
    // Whether anything is scheduled that may end a wait.
    bool HasWaking() const { return waking_ != 0; }

    // Nobody paces the clock when it is null. Not owned.
    void SetPacing(Pacing* pacing) { pacing_ = pacing; }
    // For whoever skips to the next happening and has to look around before time passes further.
    // Its time, as NextDue() tells it; with a pacing, only after the real time until then, or until
    // input came, of which it waits for some when nothing is scheduled.
    std::optional<std::uint64_t> AwaitNext();
    // Waits until input is scheduled. False, at once, without a pacing.
    bool AwaitInput();

    std::uint64_t Limit() const { return limit_; }

private:
    struct Entry {
        Happening happening;
        Waking waking;
    };
    struct Key {
        std::uint64_t time;
        bool isInput;
        Id id; // grows in the order of scheduling

        bool operator<(const Key& other) const {
            return std::tuple(time, !isInput, id) <
                   std::tuple(other.time, !other.isInput, other.id);
        }
    };

    Id Add(std::uint64_t at, bool isInput, Happening happening, Waking waking);
    void RunNext();
    // No input can come any more for a time up to this one.
    void Settle(std::uint64_t time);

    std::uint64_t now_ = 0;
    std::uint64_t limit_;
    std::function<void()> atLimit_;
    Id nextId_ = 1;
    std::size_t waking_ = 0;
    std::map<Key, Entry> entries_;
    std::map<Id, Key> keys_;
    // Happenings that run now, outermost first. They stand here and not on the stack of the
    // advance, because a happening may end the boot and that stack is then dropped.
    std::map<Id, Happening> running_;
    Pacing* pacing_ = nullptr;
    std::uint64_t settled_ = 0;
};

} // namespace sim
