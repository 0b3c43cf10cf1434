// The watchdog of the platform: the watchdog timer architectural protocol (PI 1.8, volume 2) over
// virtual time, and what it does when nobody takes over: a cold reset.
#pragma once

#include "uefi/BootServices.h"
#include "uefi/WatchdogTimerArch.h"

namespace sim {

class Platform;

class Watchdog {
public:
    explicit Watchdog(Platform& platform);
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    // Installs the architectural protocol unless the machine leaves "WatchdogTimer" out.
    void Install();

    UINT64 Period() const { return period_; } // 100 ns; 0 when off

private:
    struct Table {
        EFI_WATCHDOG_TIMER_ARCH_PROTOCOL protocol{};
        Watchdog* owner = nullptr;
    };
    static EFI_STATUS EFIAPI RegisterHandler(EFI_WATCHDOG_TIMER_ARCH_PROTOCOL* self,
                                             EFI_WATCHDOG_TIMER_NOTIFY function);
    static EFI_STATUS EFIAPI SetTimerPeriod(EFI_WATCHDOG_TIMER_ARCH_PROTOCOL* self, UINT64 period);
    static EFI_STATUS EFIAPI GetTimerPeriod(EFI_WATCHDOG_TIMER_ARCH_PROTOCOL* self, UINT64* period);

    static void EFIAPI Fire(EFI_EVENT event, void* context);

    Platform& platform_;
    Table table_;
    EFI_WATCHDOG_TIMER_NOTIFY handler_ = nullptr;
    UINT64 period_ = 0;
    EFI_EVENT timer_ = nullptr; // at TPL_NOTIFY, where handlers may use most services
};

} // namespace sim
