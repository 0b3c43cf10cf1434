#include "sim/terminal/TerminalSession.h"

#include "sim/firmware/Keyboard.h"
#include "sim/firmware/Platform.h"
#include "sim/terminal/ServerPicture.h"

#include <algorithm>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t kMillisecond = 1000; // of virtual time; keys arrive at whole ones
constexpr double kMicrosecondsPerSecond = 1e6;

constexpr auto kLookEvery = 5ms;  // for keys, while there is no time to sleep
constexpr auto kDrawEvery = 50ms; // at most, and also how often the time in the status line moves
// The boot may be ahead of real time by this: the fewer and longer the pauses, the less there is to
// do for a driver that looks for a key every millisecond.
constexpr auto kMostAhead = 20ms;
// Behind by more than this it does not try to catch up.
constexpr auto kMostBehind = 250ms;

constexpr std::string_view kHelp = "Ctrl+] quits";

} // namespace

TerminalSession::TerminalSession(Options options)
    // A record that is there already shall not be emptied for nothing.
    : options_((RequireTerminal(), std::move(options))),
      record_(options_.record, options_.recordFirst) {}

void TerminalSession::Open() {
    terminal_ = std::make_unique<HostTerminal>(options_.colour);
    phase_.clear();
    quits_ = false;
}

void TerminalSession::SitDown(Platform& platform) {
    nextLook_ = nextDraw_ = RealClock::now();
    Anchor(RealClock::now(), platform.clock->Now());
    platform.clock->SetPacing(this);
}

void TerminalSession::Leave(Platform& platform) {
    platform.clock->SetPacing(nullptr);
    Guarded([&] { Draw(platform, platform.clock->Now(), "ended"); });
}

void TerminalSession::Close() {
    terminal_.reset();
    if (failure_) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
}

std::uint64_t TerminalSession::Wait(std::uint64_t from, std::uint64_t until) {
    std::uint64_t time = until;
    Guarded([&] { time = Attend(from, until); });
    EndIfAsked();
    return time;
}

void TerminalSession::AwaitInput(std::uint64_t from) {
    Guarded([&] { AttendIdle(from); });
    EndIfAsked();
}

// No exception may pass the driver's frames, below which this runs.
template <class Work>
void TerminalSession::Guarded(Work work) {
    try {
        work();
    } catch (...) {
        failure_ = std::current_exception();
        quits_ = true;
    }
}

void TerminalSession::EndIfAsked() {
    if (quits_) {
        Platform::Current().End(EndReason::SwitchedOff, "at the terminal");
    }
}

std::uint64_t TerminalSession::Attend(std::uint64_t from, std::uint64_t until) {
    for (;;) {
        const RealTime now = RealClock::now();
        if (options_.speed > 0 && RealOf(until) + kMostBehind < now) {
            Anchor(now, until);
        }
        const bool isDue = options_.speed == 0 || RealOf(until) <= now + kMostAhead;
        if (isDue && now < nextLook_) {
            return until;
        }
        nextLook_ = now + kLookEvery;
        const std::uint64_t virtualNow = std::clamp(VirtualOf(now), from, until);
        FollowSignals(virtualNow);
        if (const std::optional<Typed> typed = terminal_->ReadKey()) {
            if (Take(*typed, from, virtualNow)) {
                nextLook_ = now; // there may be more
                return std::min(lastKey_, until);
            }
            if (quits_) {
                return until;
            }
        }
        if (now >= nextDraw_) {
            Draw(Platform::Current(), virtualNow, phase_);
        }
        if (isDue) {
            return until;
        }
        terminal_->Sleep(std::chrono::ceil<HostTerminal::Microseconds>(
            std::min(RealOf(until), nextDraw_) - RealClock::now()));
    }
}

void TerminalSession::AttendIdle(std::uint64_t from) {
    for (;;) {
        FollowSignals(from);
        const std::optional<Typed> typed = terminal_->ReadKey();
        if (typed && (Take(*typed, from, from) || quits_)) {
            break;
        }
        if (!typed) {
            Draw(Platform::Current(), from, "waiting for a key");
            terminal_->Sleep(std::nullopt);
        }
    }
    nextLook_ = nextDraw_ = RealClock::now();
    Anchor(RealClock::now(), from);
}

bool TerminalSession::Take(const Typed& typed, std::uint64_t from, std::uint64_t virtualNow) {
    if (typed.Quits()) {
        quits_ = true;
        return false;
    }
    const auto key = KeyFromName(typed.key);
    if (!key) {
        return false;
    }
    Platform& platform = Platform::Current();
    const std::uint64_t milliseconds = std::max(from, virtualNow) / kMillisecond + 1;
    lastKey_ = milliseconds * kMillisecond;
    platform.keyboard->Schedule(lastKey_, *key, typed.key);
    record_.Add(milliseconds, typed.key, platform.bootNumber);
    return true;
}

void TerminalSession::FollowSignals(std::uint64_t now) {
    if (terminal_->FollowSignals()) {
        nextDraw_ = RealClock::now();
    }
    if (terminal_->WasStopped()) {
        Anchor(RealClock::now(), now);
    }
}

void TerminalSession::Draw(Platform& platform, std::uint64_t virtualNow, std::string_view state) {
    Picture picture = PictureOf(platform);
    const std::string speed = options_.speed == 0 ? "max" : fmt::format("x{:g}", options_.speed);
    picture.status =
        fmt::format("{:9.3f} s {}  {}", double(virtualNow) / kMicrosecondsPerSecond, speed, state);
    picture.statusHelp = kHelp;
    terminal_->Draw(picture);
    nextDraw_ = RealClock::now() + kDrawEvery;
}

void TerminalSession::Anchor(RealTime real, std::uint64_t virtualTime) {
    anchorReal_ = real;
    anchorVirtual_ = virtualTime;
}

TerminalSession::RealTime TerminalSession::RealOf(std::uint64_t virtualTime) const {
    // A boot may be asked to wait for longer than a clock can tell.
    constexpr double kLongest = 1e9; // seconds
    const double seconds =
        (double(virtualTime) - double(anchorVirtual_)) / kMicrosecondsPerSecond / options_.speed;
    return anchorReal_ + std::chrono::duration_cast<RealClock::duration>(
                             std::chrono::duration<double>(std::min(seconds, kLongest)));
}

std::uint64_t TerminalSession::VirtualOf(RealTime real) const {
    const double seconds = std::chrono::duration<double>(real - anchorReal_).count();
    const double passed = seconds * kMicrosecondsPerSecond * options_.speed;
    return anchorVirtual_ + (passed > 0 ? std::uint64_t(passed) : 0);
}

} // namespace sim
