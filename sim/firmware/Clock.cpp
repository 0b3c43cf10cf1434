#include "sim/firmware/Clock.h"

#include <algorithm>
#include <utility>

namespace sim {

Clock::Clock(std::uint64_t limit, std::function<void()> atLimit)
    : limit_(limit), atLimit_(std::move(atLimit)) {}

void Clock::Advance(std::uint64_t microseconds) {
    const std::uint64_t rest = limit_ - now_;
    // One past the limit stands for every time beyond it, so that sums cannot overflow.
    AdvanceTo(microseconds > rest ? limit_ + 1 : now_ + microseconds);
}

void Clock::AdvanceTo(std::uint64_t time) {
    const std::uint64_t target = std::min(time, limit_);
    // A happening may move the clock too, beyond our target even.
    for (;;) {
        Settle(std::min(NextDue().value_or(target), target));
        if (entries_.empty() || entries_.begin()->first.time > std::max(target, now_)) {
            break;
        }
        RunNext();
    }
    now_ = std::max(now_, target);
    if (time > limit_ && atLimit_) {
        atLimit_();
    }
}

void Clock::RunNext() {
    auto first = entries_.begin();
    const Id id = first->first.id;
    now_ = std::max(now_, first->first.time);
    if (first->second.waking == Waking::Yes) {
        waking_--;
    }
    Happening& happening = running_[id] = std::move(first->second.happening);
    entries_.erase(first);
    keys_.erase(id);
    happening();
    running_.erase(id);
}

Clock::Id Clock::Schedule(std::uint64_t at, Happening happening, Waking waking) {
    return Add(at, false, std::move(happening), waking);
}

Clock::Id Clock::ScheduleInput(std::uint64_t at, Happening happening) {
    return Add(at, true, std::move(happening), Waking::Yes);
}

Clock::Id Clock::Add(std::uint64_t at, bool isInput, Happening happening, Waking waking) {
    const Id id = nextId_++;
    const Key key = {at, isInput, id};
    entries_.emplace(key, Entry{std::move(happening), waking});
    keys_.emplace(id, key);
    if (waking == Waking::Yes) {
        waking_++;
    }
    return id;
}

bool Clock::Cancel(Id id) {
    auto key = keys_.find(id);
    if (key == keys_.end()) {
        return false;
    }
    auto entry = entries_.find(key->second);
    if (entry->second.waking == Waking::Yes) {
        waking_--;
    }
    entries_.erase(entry);
    keys_.erase(key);
    return true;
}

std::optional<std::uint64_t> Clock::NextDue() const {
    if (entries_.empty()) {
        return std::nullopt;
    }
    return entries_.begin()->first.time;
}

void Clock::Settle(std::uint64_t time) {
    const std::uint64_t from = std::max(settled_, now_);
    if (pacing_ != nullptr && time > from) {
        settled_ = pacing_->Wait(from, time);
    }
}

std::optional<std::uint64_t> Clock::AwaitNext() {
    if (!entries_.empty()) {
        Settle(std::min(entries_.begin()->first.time, limit_));
    } else {
        static_cast<void>(AwaitInput());
    }
    return NextDue();
}

bool Clock::AwaitInput() {
    if (pacing_ == nullptr) {
        return false;
    }
    // Input is the only thing that wakes here: whoever asks has nothing else scheduled that does.
    while (!HasWaking()) {
        pacing_->AwaitInput(std::max(settled_, now_));
    }
    return true;
}

} // namespace sim
