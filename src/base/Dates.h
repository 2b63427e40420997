#pragma once

#include <cstdint>
#include <optional>

#include "base/Clock.h"
#include "base/Text.h"

namespace tovlark {

/// A date and time of the Gregorian calendar, without a zone.
struct CalendarTime {
    std::int32_t year = 1970;
    std::uint8_t month = 1, day = 1;  // from 1
    std::uint8_t hour = 0, minute = 0, second = 0;

    bool operator==(const CalendarTime&) const = default;
};

/// Seconds since 1970 of a time taken as UTC, and back. Months and days beyond the year's or month's end carry over.
/// Years beyond 32766 either way count as 32766.
UnixSeconds ToSeconds(const CalendarTime& time);
CalendarTime ToCalendar(UnixSeconds seconds);

/// The local calendar time at an instant, and the instant of a local time. A local time that a change of the clocks
/// skips or repeats gives an instant beside the change.
CalendarTime ToLocal(const Clock& clock, UnixSeconds when);
UnixSeconds FromLocal(const Clock& clock, const CalendarTime& local);

/// Local time minus UTC in steps of 15 minutes (ECMA-119 8.4.26.1), within -48..52.
std::int8_t QuarterHourOffset(const Clock& clock, UnixSeconds when);

/// Parses "mm-dd-yyyy-hh:mm:ss"; "-" and ":" are interchangeable, each field is read from its leading
/// digits. Month 1-12, day 1-31 within the month, year 1900-2800, hour 0-23, minute and second 0-59.
std::optional<CalendarTime> ParseDateTime(TextView text);

}  // namespace tovlark
