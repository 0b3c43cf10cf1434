#include "sim/firmware/Watchdog.h"

#include "sim/firmware/DxeCore.h"
#include "sim/firmware/Platform.h"

namespace sim {

Watchdog::Watchdog(Platform& platform) : platform_(platform) {
    table_.protocol = {RegisterHandler, SetTimerPeriod, GetTimerPeriod};
    table_.owner = this;
}

void Watchdog::Install() {
    platform_.events->CreateEvent(EVT_TIMER | EVT_NOTIFY_SIGNAL, TPL_NOTIFY, Fire, this, nullptr,
                                  &timer_);
    if (!platform_.IsMissing("WatchdogTimer", gEfiWatchdogTimerArchProtocolGuid)) {
        EFI_HANDLE handle = nullptr;
        platform_.handles->Install(&handle, gEfiWatchdogTimerArchProtocolGuid, &table_.protocol);
    }
}

EFI_STATUS EFIAPI Watchdog::RegisterHandler(EFI_WATCHDOG_TIMER_ARCH_PROTOCOL* self,
                                            EFI_WATCHDOG_TIMER_NOTIFY function) {
    if (auto injected = Platform::Current().EnterSibling("WatchdogTimer", "RegisterHandler")) {
        return *injected;
    }
    Watchdog& watchdog = *reinterpret_cast<Table*>(self)->owner;
    if (function == nullptr && watchdog.handler_ == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    if (function != nullptr && watchdog.handler_ != nullptr) {
        return EFI_ALREADY_STARTED;
    }
    watchdog.handler_ = function;
    return EFI_SUCCESS;
}

EFI_STATUS EFIAPI Watchdog::SetTimerPeriod(EFI_WATCHDOG_TIMER_ARCH_PROTOCOL* self, UINT64 period) {
    Watchdog& watchdog = *reinterpret_cast<Table*>(self)->owner;
    watchdog.period_ = period;
    return watchdog.platform_.events->SetTimer(watchdog.timer_,
                                               period != 0 ? TimerRelative : TimerCancel, period);
}

EFI_STATUS EFIAPI Watchdog::GetTimerPeriod(EFI_WATCHDOG_TIMER_ARCH_PROTOCOL* self, UINT64* period) {
    if (period == nullptr) {
        return EFI_INVALID_PARAMETER;
    }
    *period = reinterpret_cast<Table*>(self)->owner->period_;
    return EFI_SUCCESS;
}

// The machine resets when the handler returns; one that wants something else must not.
void EFIAPI Watchdog::Fire(EFI_EVENT, void* context) {
    Watchdog& watchdog = *static_cast<Watchdog*>(context);
    watchdog.platform_.trace.Record("watchdog", {{"seconds", watchdog.period_ / 10000000}});
    if (watchdog.handler_ != nullptr) {
        watchdog.handler_(watchdog.period_);
    }
    watchdog.platform_.core->Reset(EfiResetCold, EFI_TIMEOUT);
}

} // namespace sim
