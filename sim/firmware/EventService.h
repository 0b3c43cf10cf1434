// Task priorities, events, timers and waiting (UEFI 2.10, section 7.1).
//
// Notification functions wait in a queue per task priority and run, first come first served, when
// the current level is below theirs. This happens at the moment at which the level drops or the
// event is signalled, as on hardware whose timer interrupt is never late.
//
// The methods are the services without the checks that stand in front of them when the driver calls
// (counting, injected faults, allowed task priority); siblings use them directly. Those that run
// notifications may end the boot.
#pragma once

#include "sim/firmware/AddressBlock.h"
#include "sim/firmware/Clock.h"
#include "uefi/BootServices.h"

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace sim {

class Platform;

// What a test may know about an event that is not closed.
struct LiveEvent {
    EFI_EVENT event;
    std::uint64_t sequence; // 1 for the first event of the boot
    UINT32 type;
    EFI_TPL notifyTpl;
    std::optional<EFI_GUID> group;
    bool signaled;
    bool timerArmed;
};

class EventService {
public:
    explicit EventService(Platform& platform);
    EventService(const EventService&) = delete;
    EventService& operator=(const EventService&) = delete;

    // The current task priority.
    EFI_TPL Tpl() const { return tpl_; }
    // Whether a notification function runs.
    bool InNotification() const { return notifications_ != 0; }
    // Both record a violation when they are used in the wrong direction.
    EFI_TPL RaiseTpl(EFI_TPL level);
    void RestoreTpl(EFI_TPL level);

    // `group` may be null. EFI_INVALID_PARAMETER: contradicting type, no notification function or a
    // level that notifications cannot have; EFI_OUT_OF_RESOURCES.
    EFI_STATUS CreateEvent(UINT32 type, EFI_TPL notifyTpl, EFI_EVENT_NOTIFY function,
                           const void* context, const EFI_GUID* group, EFI_EVENT* event);
    // The other event services: EFI_INVALID_PARAMETER, and a violation, for an event that is
    // closed.
    EFI_STATUS CloseEvent(EFI_EVENT event);
    EFI_STATUS SignalEvent(EFI_EVENT event);
    // `trigger` in 100 ns. EFI_INVALID_PARAMETER also for an event that is no timer.
    EFI_STATUS SetTimer(EFI_EVENT event, EFI_TIMER_DELAY kind, UINT64 trigger);
    // EFI_NOT_READY counts as an idle poll.
    EFI_STATUS CheckEvent(EFI_EVENT event);
    // Ends the boot with `waiting-for-key` when nothing that is scheduled can end the wait.
    EFI_STATUS WaitForEvent(UINTN count, EFI_EVENT* events, UINTN* index);

    // Signals all members of a group and runs their notifications; records `signal`, unless the
    // signal only follows from something else.
    void SignalGroup(const EFI_GUID& group, bool traced = true);

    // Somebody looked for a key and there was none. Moves the clock by a millisecond; ends the boot
    // with `waiting-for-key` when nothing is scheduled that could change that and the polling has
    // gone on for the machine's limit of waiting, with nothing traced in between.
    void NoteIdlePoll();

    // Called from every service: a driver that calls services for ever in no time is stopped as if
    // it had used up its time.
    void NoteServiceCall();
    // Calls so far.
    std::uint64_t ServiceCalls() const { return serviceCalls_; }

    // Events that are not closed, in the order of their creation, from `sinceSequence` on. Take
    // NextSequence() before an operation to list what it left behind.
    std::vector<LiveEvent> LiveEvents(std::uint64_t sinceSequence = 0) const;
    std::uint64_t NextSequence() const { return nextSequence_; }

private:
    struct Event {
        std::uint64_t sequence = 0;
        UINT32 type = 0;
        EFI_TPL notifyTpl = 0;
        EFI_EVENT_NOTIFY function = nullptr;
        const void* context = nullptr;
        std::optional<EFI_GUID> group;
        bool signaled = false;
        bool queued = false;
        std::optional<Clock::Id> timer;
        std::uint64_t period = 0; // microseconds; 0 for a single shot
    };

    Event* Find(EFI_EVENT event, const char* service);
    EFI_STATUS Look(EFI_EVENT event);
    void Signal(Event& event, EFI_EVENT handle);
    void Queue(Event& event, EFI_EVENT handle);
    // Runs what waits above `level`, which is the current level afterwards.
    void RunPending(EFI_TPL level);
    void RunPending() { RunPending(tpl_); }
    void RunNotification(EFI_EVENT handle);
    void Arm(EFI_EVENT handle, std::uint64_t at);
    void OnTimer(EFI_EVENT handle);
    bool ReachesKeyWait(std::uint64_t since) const;

    Platform& platform_;
    AddressBlock addresses_;
    EFI_TPL tpl_ = TPL_APPLICATION;
    unsigned notifications_ = 0; // that run, one within the other
    std::uint64_t nextSequence_ = 1;
    std::map<EFI_EVENT, Event> events_;                                // addresses grow
    std::map<EFI_TPL, std::deque<EFI_EVENT>, std::greater<>> pending_; // highest level first
    std::uint64_t keyWait_;                                            // microseconds
    std::optional<std::uint64_t> idleSince_;
    std::size_t idleTraceEvents_ = 0;
    std::uint64_t busyTime_ = 0; // the clock when busyCalls_ began to count
    std::uint64_t busyCalls_ = 0;
    std::uint64_t serviceCalls_ = 0;
};

} // namespace sim
