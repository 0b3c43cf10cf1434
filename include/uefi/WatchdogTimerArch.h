// EFI_WATCHDOG_TIMER_ARCH_PROTOCOL: the watchdog behind SetWatchdogTimer() (PI 1.8, volume 2,
// section 12).
#pragma once

#include "uefi/Base.h"

inline constexpr EFI_GUID gEfiWatchdogTimerArchProtocolGuid = {
    0x665E3FF5, 0x46CC, 0x11D4, {0x9A, 0x38, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};

// Time is the watchdog period in 100 ns.
using EFI_WATCHDOG_TIMER_NOTIFY = void(EFIAPI*)(UINT64 Time);

struct EFI_WATCHDOG_TIMER_ARCH_PROTOCOL {
    // A null function unregisters. EFI_ALREADY_STARTED when one is registered,
    // EFI_INVALID_PARAMETER when none was and null is given.
    EFI_STATUS(EFIAPI* RegisterHandler)
    (EFI_WATCHDOG_TIMER_ARCH_PROTOCOL* This, EFI_WATCHDOG_TIMER_NOTIFY NotifyFunction);
    // Period in 100 ns; 0 disables the watchdog.
    EFI_STATUS(EFIAPI* SetTimerPeriod)(EFI_WATCHDOG_TIMER_ARCH_PROTOCOL* This, UINT64 TimerPeriod);
    EFI_STATUS(EFIAPI* GetTimerPeriod)(EFI_WATCHDOG_TIMER_ARCH_PROTOCOL* This, UINT64* TimerPeriod);
};
static_assert(sizeof(EFI_WATCHDOG_TIMER_ARCH_PROTOCOL) == 24);

template <>
struct ProtocolGuid<EFI_WATCHDOG_TIMER_ARCH_PROTOCOL> {
    static constexpr const EFI_GUID& value = gEfiWatchdogTimerArchProtocolGuid;
};
