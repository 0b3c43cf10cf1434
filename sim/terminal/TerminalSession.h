// A person who sits at the server: sees its screen in the user's terminal, at the pace of real
// time, and types on its keyboard.
//
// A key reaches the server at the next whole millisecond of virtual time that is not settled yet
// (Pacing), and is recorded with that time: pressed again at the recorded times, the keys give the
// same boot, event for event. Where only a key can go on, virtual time stands still until one is
// typed.
#pragma once

#include "sim/firmware/Clock.h"
#include "sim/terminal/HostTerminal.h"
#include "sim/terminal/KeyRecord.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace sim {

class Platform;

class TerminalSession final : public Pacing {
public:
    struct Options {
        double speed = 1; // virtual seconds in a second; 0 for as many as there can be
        bool colour = true;
        std::string record;               // file for the keys; empty for none
        Json recordFirst = Json::array(); // keys that come without being typed and are recorded too
    };

    // Throws TerminalError without a terminal, and std::runtime_error when the record cannot be
    // written.
    explicit TerminalSession(Options options);

    // Around each power-on: takes the terminal, sits down at the machine that was powered on (on
    // the driver's stack, before the driver), and shows the last picture and gives the terminal
    // back. Open() throws TerminalError. Close() throws what went wrong meanwhile.
    void Open();
    void SitDown(Platform& platform);
    void Leave(Platform& platform);
    void Close();

    // What the boot is doing.
    void ShowPhase(std::string_view phase) { phase_ = phase; }

    std::uint64_t Wait(std::uint64_t from, std::uint64_t until) override;
    void AwaitInput(std::uint64_t from) override;

private:
    using RealClock = std::chrono::steady_clock;
    using RealTime = RealClock::time_point;

    // Each does its work in the frames of the callers that own heap memory, which are gone before
    // the boot can end.
    std::uint64_t Attend(std::uint64_t from, std::uint64_t until);
    void AttendIdle(std::uint64_t from);
    template <class Work>
    void Guarded(Work work);
    void EndIfAsked();

    // True when the key was one for the server, which now has it at `lastKey_`.
    bool Take(const Typed& typed, std::uint64_t from, std::uint64_t virtualNow);
    void FollowSignals(std::uint64_t now);
    void Draw(Platform& platform, std::uint64_t virtualNow, std::string_view state);

    // Real time runs with virtual time from now on.
    void Anchor(RealTime real, std::uint64_t virtualTime);
    RealTime RealOf(std::uint64_t virtualTime) const;
    std::uint64_t VirtualOf(RealTime real) const;

    Options options_;
    KeyRecord record_;
    std::unique_ptr<HostTerminal> terminal_;
    std::string phase_;
    bool quits_ = false;
    std::exception_ptr failure_;
    std::uint64_t lastKey_ = 0; // microseconds
    RealTime nextLook_;
    RealTime nextDraw_;
    RealTime anchorReal_;
    std::uint64_t anchorVirtual_ = 0;
};

} // namespace sim
