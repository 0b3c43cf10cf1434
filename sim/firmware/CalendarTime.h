// The real-time clock of the machine: virtual time counted from a fixed date, so that what a boot
// writes down is the same in every run.
#pragma once

#include "uefi/RuntimeServices.h"

namespace sim {

// Whether all fields are within what UEFI allows and the day exists.
bool IsValidTime(const EFI_TIME& time);
// Seconds since 1900-01-01 00:00:00, and back.
UINT64 SecondsOf(const EFI_TIME& time);
EFI_TIME TimeOf(UINT64 seconds, UINT32 nanosecond);

// What the clock shows at power-on: 2026-01-01 00:00:00.
UINT64 PowerOnSeconds();

} // namespace sim
