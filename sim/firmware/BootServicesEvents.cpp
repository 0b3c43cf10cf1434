// Boot services: task priority, events, timers, waiting, the watchdog.
#include "sim/firmware/DxeCore.h"
#include "sim/firmware/EventService.h"
#include "sim/firmware/Platform.h"
#include "sim/firmware/ServiceEntry.h"

namespace sim {

namespace {

EFI_TPL EFIAPI RaiseTPL(EFI_TPL level) {
    static_cast<void>(Enter("RaiseTPL", TPL_HIGH_LEVEL));
    return Platform::Current().events->RaiseTpl(level);
}

void EFIAPI RestoreTPL(EFI_TPL level) {
    static_cast<void>(Enter("RestoreTPL", TPL_HIGH_LEVEL));
    Platform::Current().events->RestoreTpl(level);
}

EFI_STATUS EFIAPI CreateEvent(UINT32 type, EFI_TPL notifyTpl, EFI_EVENT_NOTIFY function,
                              void* context, EFI_EVENT* event) {
    if (auto injected = Enter("CreateEvent", kBelowHighLevel)) {
        return *injected;
    }
    return Platform::Current().events->CreateEvent(type, notifyTpl, function, context, nullptr,
                                                   event);
}

EFI_STATUS EFIAPI CreateEventEx(UINT32 type, EFI_TPL notifyTpl, EFI_EVENT_NOTIFY function,
                                const void* context, const EFI_GUID* group, EFI_EVENT* event) {
    if (auto injected = Enter("CreateEventEx", kBelowHighLevel)) {
        return *injected;
    }
    return Platform::Current().events->CreateEvent(type, notifyTpl, function, context, group,
                                                   event);
}

EFI_STATUS EFIAPI SetTimer(EFI_EVENT event, EFI_TIMER_DELAY kind, UINT64 trigger) {
    if (auto injected = Enter("SetTimer", kBelowHighLevel)) {
        return *injected;
    }
    return Platform::Current().events->SetTimer(event, kind, trigger);
}

EFI_STATUS EFIAPI WaitForEvent(UINTN count, EFI_EVENT* events, UINTN* index) {
    if (auto injected = Enter("WaitForEvent", TPL_APPLICATION)) {
        return *injected;
    }
    return Platform::Current().events->WaitForEvent(count, events, index);
}

EFI_STATUS EFIAPI SignalEvent(EFI_EVENT event) {
    if (auto injected = Enter("SignalEvent", TPL_HIGH_LEVEL)) {
        return *injected;
    }
    return Platform::Current().events->SignalEvent(event);
}

EFI_STATUS EFIAPI CloseEvent(EFI_EVENT event) {
    if (auto injected = Enter("CloseEvent", kBelowHighLevel)) {
        return *injected;
    }
    return Platform::Current().events->CloseEvent(event);
}

EFI_STATUS EFIAPI CheckEvent(EFI_EVENT event) {
    if (auto injected = Enter("CheckEvent", kBelowHighLevel)) {
        return *injected;
    }
    return Platform::Current().events->CheckEvent(event);
}

EFI_STATUS EFIAPI Stall(UINTN microseconds) {
    if (auto injected = Enter("Stall", TPL_HIGH_LEVEL)) {
        return *injected;
    }
    Platform::Current().clock->Advance(microseconds);
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SetWatchdogTimer(UINTN timeout, UINT64, UINTN, CHAR16*) {
    if (auto injected = Enter("SetWatchdogTimer", TPL_NOTIFY)) {
        return *injected;
    }
    return Platform::Current().core->SetWatchdogTimer(timeout);
}

} // namespace

void FillPriorityAndEventServices(EFI_BOOT_SERVICES& table) {
    table.RaiseTPL = RaiseTPL;
    table.RestoreTPL = RestoreTPL;
    table.CreateEvent = CreateEvent;
    table.CreateEventEx = CreateEventEx;
    table.SetTimer = SetTimer;
    table.WaitForEvent = WaitForEvent;
    table.SignalEvent = SignalEvent;
    table.CloseEvent = CloseEvent;
    table.CheckEvent = CheckEvent;
    table.Stall = Stall;
    table.SetWatchdogTimer = SetWatchdogTimer;
}

} // namespace sim
