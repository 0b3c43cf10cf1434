// Ownership of events and timers: closed when their owner goes, unless released.
#pragma once

#include "library/firmware/Services.h"

#include <utility>

namespace kelm {

class Event {
public:
    constexpr Event() = default;
    Event(Event&& other) noexcept : event_(other.release()) {}
    Event& operator=(Event&& other) noexcept {
        reset(other.release());
        return *this;
    }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    ~Event() { reset(); }

    // Creates the event; what was held before is closed. Statuses as CreateEvent.
    EFI_STATUS Create(UINT32 type, EFI_TPL notifyTpl = TPL_CALLBACK,
                      EFI_EVENT_NOTIFY notify = nullptr, void* context = nullptr) {
        reset();
        return gBS->CreateEvent(type, notifyTpl, notify, context, &event_);
    }
    // Creates a notify-signal event in a group. Statuses as CreateEventEx.
    EFI_STATUS CreateInGroup(const EFI_GUID& group, EFI_TPL notifyTpl, EFI_EVENT_NOTIFY notify,
                             void* context = nullptr) {
        reset();
        return gBS->CreateEventEx(EVT_NOTIFY_SIGNAL, notifyTpl, notify, context, &group, &event_);
    }

    EFI_EVENT get() const { return event_; }
    explicit operator bool() const { return event_ != nullptr; }
    [[nodiscard]] EFI_EVENT release() { return std::exchange(event_, nullptr); }
    void reset(EFI_EVENT event = nullptr) {
        EFI_EVENT old = std::exchange(event_, event);
        if (old != nullptr) {
            gBS->CloseEvent(old);
        }
    }

private:
    EFI_EVENT event_ = nullptr;
};

// A notification that does nothing, for events that are only signalled.
void EFIAPI IgnoreEvent(EFI_EVENT event, void* context);

// Creates an event in `group`, signals it and closes it, so that every listener of the group runs.
// Returns the status of the creation.
EFI_STATUS SignalEventGroup(const EFI_GUID& group);

} // namespace kelm
