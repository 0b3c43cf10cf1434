#include "sim/firmware/CalendarTime.h"

namespace sim {

namespace {

constexpr UINT64 kSecondsPerDay = 24 * 60 * 60;
constexpr UINT16 kFirstYear = 1900;

bool IsLeapYear(UINT16 year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

UINT8 DaysInMonth(UINT16 year, UINT8 month) {
    constexpr UINT8 kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

UINT64 DaysInYear(UINT16 year) {
    return IsLeapYear(year) ? 366 : 365;
}

} // namespace

bool IsValidTime(const EFI_TIME& time) {
    return time.Year >= kFirstYear && time.Year <= 9999 && time.Month >= 1 && time.Month <= 12 &&
           time.Day >= 1 && time.Day <= DaysInMonth(time.Year, time.Month) && time.Hour <= 23 &&
           time.Minute <= 59 && time.Second <= 59 && time.Nanosecond <= 999999999 &&
           (time.TimeZone == EFI_UNSPECIFIED_TIMEZONE ||
            (time.TimeZone >= -1440 && time.TimeZone <= 1440));
}

UINT64 SecondsOf(const EFI_TIME& time) {
    UINT64 days = 0;
    for (UINT16 year = kFirstYear; year < time.Year; year++) {
        days += DaysInYear(year);
    }
    for (UINT8 month = 1; month < time.Month; month++) {
        days += DaysInMonth(time.Year, month);
    }
    days += time.Day - 1u;
    return days * kSecondsPerDay + time.Hour * 3600u + time.Minute * 60u + time.Second;
}

EFI_TIME TimeOf(UINT64 seconds, UINT32 nanosecond) {
    EFI_TIME time{};
    UINT64 days = seconds / kSecondsPerDay;
    time.Year = kFirstYear;
    while (days >= DaysInYear(time.Year)) {
        days -= DaysInYear(time.Year++);
    }
    time.Month = 1;
    while (days >= DaysInMonth(time.Year, time.Month)) {
        days -= DaysInMonth(time.Year, time.Month++);
    }
    const UINT64 rest = seconds % kSecondsPerDay;
    time.Day = UINT8(days + 1);
    time.Hour = UINT8(rest / 3600);
    time.Minute = UINT8(rest / 60 % 60);
    time.Second = UINT8(rest % 60);
    time.Nanosecond = nanosecond;
    time.TimeZone = EFI_UNSPECIFIED_TIMEZONE;
    return time;
}

UINT64 PowerOnSeconds() {
    EFI_TIME time{};
    time.Year = 2026;
    time.Month = 1;
    time.Day = 1;
    return SecondsOf(time);
}

} // namespace sim
