#include "sim/firmware/Clock.h"

#include <algorithm>

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
    while (!entries_.empty() && entries_.begin()->first.first <= std::max(target, now_)) {
        RunNext();
    }
    now_ = std::max(now_, target);
    if (time > limit_ && atLimit_) {
        atLimit_();
    }
}

void Clock::RunNext() {
    auto first = entries_.begin();
    const auto [at, id] = first->first;
    now_ = std::max(now_, at);
    if (first->second.waking == Waking::Yes) {
        waking_--;
    }
    Happening& happening = running_[id] = std::move(first->second.happening);
    entries_.erase(first);
    times_.erase(id);
    happening();
    running_.erase(id);
}

Clock::Id Clock::Schedule(std::uint64_t at, Happening happening, Waking waking) {
    const Id id = nextId_++;
    entries_.emplace(Key{at, id}, Entry{std::move(happening), waking});
    times_.emplace(id, at);
    if (waking == Waking::Yes) {
        waking_++;
    }
    return id;
}

bool Clock::Cancel(Id id) {
    auto time = times_.find(id);
    if (time == times_.end()) {
        return false;
    }
    auto entry = entries_.find(Key{time->second, id});
    if (entry->second.waking == Waking::Yes) {
        waking_--;
    }
    entries_.erase(entry);
    times_.erase(time);
    return true;
}

std::optional<std::uint64_t> Clock::NextDue() const {
    if (entries_.empty()) {
        return std::nullopt;
    }
    return entries_.begin()->first.first;
}

} // namespace sim
