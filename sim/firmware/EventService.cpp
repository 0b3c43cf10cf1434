#include "sim/firmware/EventService.h"

#include "sim/firmware/Platform.h"
#include "sim/firmware/TraceText.h"
#include "sim/firmware/Violations.h"

#include <algorithm>

namespace sim {

namespace {

constexpr UINT64 kAddressPages = 64;                 // 8192 events in a boot
constexpr std::uint64_t kTick = 1000;                // microseconds; the finest periodic timer
constexpr std::uint64_t kPollTime = 1000;            // microseconds that an idle poll takes
constexpr std::uint64_t kMaxCallsInNoTime = 3000000; // far beyond any real loop
constexpr std::uint64_t kSecond = 1000000;

bool IsValidType(UINT32 type) {
    switch (type) {
    case 0:
    case EVT_TIMER:
    case EVT_NOTIFY_WAIT:
    case EVT_NOTIFY_SIGNAL:
    case EVT_TIMER | EVT_NOTIFY_WAIT:
    case EVT_TIMER | EVT_NOTIFY_SIGNAL:
    case EVT_RUNTIME | EVT_NOTIFY_SIGNAL:
    case EVT_SIGNAL_EXIT_BOOT_SERVICES:
    case EVT_SIGNAL_VIRTUAL_ADDRESS_CHANGE:
        return true;
    default:
        return false;
    }
}

std::uint64_t Microseconds(UINT64 hundredNanoseconds) {
    return hundredNanoseconds / 10 + (hundredNanoseconds % 10 != 0 ? 1 : 0);
}

std::string Level(EFI_TPL tpl) {
    return std::to_string(tpl);
}

} // namespace

EventService::EventService(Platform& platform)
    : platform_(platform),
      addresses_(*platform.arena, kAddressPages, kOwnerFirmware),
      keyWait_(platform.LimitOf("keyWaitSeconds", 600) * kSecond) {}

EFI_TPL EventService::RaiseTpl(EFI_TPL level) {
    const EFI_TPL before = tpl_;
    if (level < before || level > TPL_HIGH_LEVEL) {
        platform_.violations->Record("RaiseTPL from " + Level(before) + " to " + Level(level));
        if (level > TPL_HIGH_LEVEL) {
            return before;
        }
    }
    tpl_ = std::max(level, before);
    return before;
}

void EventService::RestoreTpl(EFI_TPL level) {
    if (level > tpl_) {
        platform_.violations->Record("RestoreTPL from " + Level(tpl_) + " to the higher level " +
                                     Level(level));
        return;
    }
    RunPending(level);
}

void EventService::RunPending(EFI_TPL level) {
    while (!pending_.empty() && pending_.begin()->first > level) {
        std::deque<EFI_EVENT>& queue = pending_.begin()->second;
        tpl_ = pending_.begin()->first;
        const EFI_EVENT event = queue.front();
        queue.pop_front();
        if (queue.empty()) {
            pending_.erase(pending_.begin());
        }
        RunNotification(event);
    }
    tpl_ = level;
}

void EventService::RunNotification(EFI_EVENT handle) {
    Event& event = events_.at(handle);
    const EFI_TPL level = event.notifyTpl;
    event.queued = false;
    if ((event.type & EVT_NOTIFY_SIGNAL) != 0) {
        event.signaled = false;
    }
    // The function may close its event.
    notifications_++;
    event.function(handle, const_cast<void*>(event.context));
    notifications_--;
    if (tpl_ != level) {
        platform_.violations->Record("a notification function of level " + Level(level) +
                                     " returned at level " + Level(tpl_));
        tpl_ = level;
    }
}

void EventService::Queue(Event& event, EFI_EVENT handle) {
    if (!event.queued) {
        event.queued = true;
        pending_[event.notifyTpl].push_back(handle);
    }
}

EventService::Event* EventService::Find(EFI_EVENT event, const char* service) {
    auto found = events_.find(event);
    if (found != events_.end()) {
        return &found->second;
    }
    if (event != nullptr) {
        platform_.violations->Record(std::string(service) +
                                     (addresses_.WasIssued(event)
                                          ? " of a closed event"
                                          : " of something else than an event"));
    }
    return nullptr;
}

EFI_STATUS EventService::CreateEvent(UINT32 type, EFI_TPL notifyTpl, EFI_EVENT_NOTIFY function,
                                     const void* context, const EFI_GUID* group, EFI_EVENT* event) {
    if (event == nullptr || !IsValidType(type)) {
        return EFI_INVALID_PARAMETER;
    }
    Event made;
    if (group != nullptr) {
        if (type == EVT_SIGNAL_EXIT_BOOT_SERVICES || type == EVT_SIGNAL_VIRTUAL_ADDRESS_CHANGE) {
            return EFI_INVALID_PARAMETER;
        }
        made.group = *group;
    } else if (type == EVT_SIGNAL_EXIT_BOOT_SERVICES) {
        made.group = gEfiEventExitBootServicesGuid;
    } else if (type == EVT_SIGNAL_VIRTUAL_ADDRESS_CHANGE) {
        made.group = gEfiEventVirtualAddressChangeGuid;
    }
    if ((type & (EVT_NOTIFY_WAIT | EVT_NOTIFY_SIGNAL)) != 0) {
        if (function == nullptr || notifyTpl <= TPL_APPLICATION || notifyTpl > TPL_HIGH_LEVEL) {
            return EFI_INVALID_PARAMETER;
        }
        made.notifyTpl = notifyTpl;
        made.function = function;
        made.context = context;
    }
    made.type = type;
    void* address = addresses_.Next();
    if (address == nullptr) {
        return EFI_OUT_OF_RESOURCES;
    }
    made.sequence = nextSequence_++;
    events_.emplace(address, std::move(made));
    *event = address;
    return EFI_SUCCESS;
}

EFI_STATUS EventService::CloseEvent(EFI_EVENT handle) {
    Event* event = Find(handle, "CloseEvent");
    if (event == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (event->timer) {
        platform_.clock->Cancel(*event->timer);
    }
    if (event->queued) {
        auto queue = pending_.find(event->notifyTpl);
        std::erase(queue->second, handle);
        if (queue->second.empty()) {
            pending_.erase(queue);
        }
    }
    events_.erase(handle);
    platform_.handles->ForgetEvent(handle);
    return EFI_SUCCESS;
}

void EventService::Signal(Event& event, EFI_EVENT handle) {
    if (event.signaled) {
        return;
    }
    event.signaled = true;
    if ((event.type & EVT_NOTIFY_SIGNAL) != 0) {
        Queue(event, handle);
    }
}

EFI_STATUS EventService::SignalEvent(EFI_EVENT handle) {
    Event* event = Find(handle, "SignalEvent");
    if (event == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (event->group) {
        const EFI_GUID group = *event->group; // a notification may close the event
        SignalGroup(group);
    } else {
        Signal(*event, handle);
        RunPending();
    }
    return EFI_SUCCESS;
}

void EventService::SignalGroup(const EFI_GUID& group, bool traced) {
    if (traced) {
        platform_.trace.Record("signal", {{"guid", GuidText(group)}});
    }
    for (auto& [handle, event] : events_) {
        if (event.group == group) {
            Signal(event, handle);
        }
    }
    RunPending();
}

void EventService::Arm(EFI_EVENT handle, std::uint64_t at) {
    Event& event = events_.at(handle);
    event.timer = platform_.clock->Schedule(
        at, [this, handle] { OnTimer(handle); }, event.period != 0 ? Waking::No : Waking::Yes);
}

void EventService::OnTimer(EFI_EVENT handle) {
    auto found = events_.find(handle);
    if (found == events_.end()) {
        return;
    }
    found->second.timer.reset();
    if (found->second.period != 0) {
        Arm(handle, platform_.clock->Now() + found->second.period);
    }
    SignalEvent(handle);
}

EFI_STATUS EventService::SetTimer(EFI_EVENT handle, EFI_TIMER_DELAY kind, UINT64 trigger) {
    Event* event = Find(handle, "SetTimer");
    if (event == nullptr || (event->type & EVT_TIMER) == 0 || kind > TimerRelative) {
        return EFI_INVALID_PARAMETER;
    }
    if (event->timer) {
        platform_.clock->Cancel(*event->timer);
        event->timer.reset();
    }
    event->period = 0;
    if (kind == TimerCancel) {
        return EFI_SUCCESS;
    }
    const std::uint64_t delay = trigger == 0 ? kTick : Microseconds(trigger);
    if (kind == TimerPeriodic) {
        event->period = delay;
    }
    const std::uint64_t now = platform_.clock->Now();
    Arm(handle, delay > UINT64_MAX - now ? UINT64_MAX : now + delay);
    return EFI_SUCCESS;
}

// CheckEvent() without the time that it takes.
EFI_STATUS EventService::Look(EFI_EVENT handle) {
    Event* event = Find(handle, "CheckEvent");
    if (event == nullptr || (event->type & EVT_NOTIFY_SIGNAL) != 0) {
        return EFI_INVALID_PARAMETER;
    }
    if (!event->signaled && (event->type & EVT_NOTIFY_WAIT) != 0) {
        Queue(*event, handle);
        RunPending();
        auto again = events_.find(handle);
        if (again == events_.end()) {
            return EFI_INVALID_PARAMETER;
        }
        event = &again->second;
    }
    if (!event->signaled) {
        return EFI_NOT_READY;
    }
    event->signaled = false;
    return EFI_SUCCESS;
}

EFI_STATUS EventService::CheckEvent(EFI_EVENT event) {
    const EFI_STATUS status = Look(event);
    if (status == EFI_NOT_READY) {
        NoteIdlePoll();
    }
    return status;
}

EFI_STATUS EventService::WaitForEvent(UINTN count, EFI_EVENT* events, UINTN* index) {
    if (count == 0 || events == nullptr || index == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (tpl_ != TPL_APPLICATION) {
        return EFI_UNSUPPORTED;
    }
    Clock& clock = *platform_.clock;
    std::uint64_t since = clock.Now();
    for (;;) {
        for (UINTN i = 0; i < count; i++) {
            const EFI_STATUS status = Look(events[i]);
            if (status != EFI_NOT_READY) {
                *index = i;
                return status;
            }
        }
        std::optional<std::uint64_t> next = clock.AwaitNext();
        if (clock.HasWaking()) {
            since = clock.Now();
        }
        if (!next || ReachesKeyWait(since)) {
            if (!clock.AwaitInput()) {
                platform_.End(EndReason::WaitingForKey, "nothing scheduled can end the wait");
            }
            next = clock.NextDue();
        }
        clock.AdvanceTo(std::max(*next, clock.Now()));
    }
}

bool EventService::ReachesKeyWait(std::uint64_t since) const {
    return platform_.clock->Now() - since >= keyWait_;
}

void EventService::NoteIdlePoll() {
    Clock& clock = *platform_.clock;
    const std::size_t traced = platform_.trace.Events().size();
    if (clock.HasWaking()) {
        idleSince_.reset();
    } else if (!idleSince_ || traced != idleTraceEvents_) {
        idleSince_ = clock.Now();
    } else if (ReachesKeyWait(*idleSince_)) {
        if (!clock.AwaitInput()) {
            platform_.End(EndReason::WaitingForKey, "polling for a key that never comes");
        }
        idleSince_.reset();
    }
    idleTraceEvents_ = traced;
    clock.Advance(kPollTime);
}

void EventService::NoteServiceCall() {
    serviceCalls_++;
    const std::uint64_t now = platform_.clock->Now();
    if (now != busyTime_) {
        busyTime_ = now;
        busyCalls_ = 0;
    } else if (++busyCalls_ > kMaxCallsInNoTime) {
        platform_.End(EndReason::TimeLimit, "services are called for ever and no time passes");
    }
}

std::vector<LiveEvent> EventService::LiveEvents(std::uint64_t sinceSequence) const {
    std::vector<LiveEvent> live;
    for (const auto& [handle, event] : events_) {
        if (event.sequence >= sinceSequence) {
            live.push_back({handle, event.sequence, event.type, event.notifyTpl, event.group,
                            event.signaled, event.timer.has_value()});
        }
    }
    return live;
}

} // namespace sim
