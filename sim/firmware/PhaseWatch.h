// The watch over the measured phases of a boot: what a phase leaves behind that ought to end with
// it is a violation.
//
// A phase frees its handle buffers, closes the events that it made, and leaves the task priority as
// it was. Events in a group, events of protocol notifications and armed timers live on by design.
// What "[BDS] Start ..." leaves open, "[BDS] Stop ..." closes.
// Phases that began before the driver was loaded are the firmware's own; only their handle buffers
// are looked at.
#pragma once

#include "uefi/BootServices.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

class Platform;
enum class EndReason;

class PhaseWatch {
public:
    explicit PhaseWatch(Platform& platform) : platform_(platform) {}
    PhaseWatch(const PhaseWatch&) = delete;
    PhaseWatch& operator=(const PhaseWatch&) = delete;

    // A measured phase begins or ends; the performance sibling calls these for each measurement.
    // Phases may nest and overlap; an end without a beginning does nothing.
    void Started(std::string_view phase);
    void Ended(std::string_view phase);

    // The boot is over. Handle buffers that are older than the phase that was under way, or than
    // the last one that was done, have no holder any more; and nobody waits for a key or until the
    // time is up with the task priority raised.
    void BootEnded(EndReason reason);

private:
    struct Phase {
        std::string name;
        bool ofDriver;
        UINT64 memorySince;       // arena sequence
        std::uint64_t eventSince; // event sequence
        std::uint64_t eventUntil; // behind its last event, once it is over
        EFI_TPL level;
    };

    // The outermost open phase of the driver within its whole sequence; nullptr when none is open.
    const Phase* Outermost() const;
    void ReportEvents(const Phase& phase, std::uint64_t before);
    const Phase* StartOf(const Phase& stop) const;

    Platform& platform_;
    std::vector<Phase> phases_;              // open ones
    std::vector<Phase> starts_;              // "Start" phases that are over
    std::optional<UINT64> lastSince_;        // arena sequence at the start of the last one done
    std::set<std::uint64_t> reportedEvents_; // sequences of events that an inner phase has told of
};

} // namespace sim
