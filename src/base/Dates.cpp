#include "base/Dates.h"

#include <algorithm>
#include <chrono>

namespace tovlark {

namespace {

using std::chrono::days;
using std::chrono::sys_days;

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int32_t kLastYear = 32766;  // std::chrono::year reaches one further each way
constexpr UnixSeconds SecondsAtYear(int year) {
    return sys_days{std::chrono::year{year} / 1 / 1}.time_since_epoch().count() * kSecondsPerDay;
}
constexpr UnixSeconds kFirstInstant = SecondsAtYear(-kLastYear);
constexpr UnixSeconds kLastInstant = SecondsAtYear(kLastYear + 1) - 1;

UnixSeconds Clamped(UnixSeconds when) { return std::clamp(when, kFirstInstant, kLastInstant); }

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

// A bound of one field of a date; the fields stand in the order of the text.
struct FieldBounds {
    std::uint32_t minimum, maximum;
};
constexpr FieldBounds kFields[] = {{1, 12}, {1, 31}, {1900, 2800}, {0, 23}, {0, 59}, {0, 59}};
constexpr std::size_t kFieldCount = std::size(kFields);

bool ParseField(TextView word, FieldBounds bounds, std::uint32_t& value) {
    if (word.empty() || !IsDigit(word.front())) return false;
    value = 0;
    for (const char16_t unit : word) {
        if (!IsDigit(unit)) break;
        value = value * 10 + (unit - u'0');
        if (value > bounds.maximum) return false;
    }
    return value >= bounds.minimum;
}

}  // namespace

UnixSeconds ToSeconds(const CalendarTime& time) {
    const std::int32_t months = time.month - 1;
    const std::int32_t yearCarry = months < 0 ? -1 : months / 12;
    const std::chrono::year year{std::clamp(time.year, -kLastYear, kLastYear) + yearCarry};
    const std::chrono::month month{static_cast<unsigned>(months - 12 * yearCarry + 1)};
    const sys_days date = sys_days{year / month / 1} + days{time.day - 1};
    return date.time_since_epoch().count() * kSecondsPerDay + time.hour * 3600 + time.minute * 60 + time.second;
}

CalendarTime ToCalendar(UnixSeconds seconds) {
    const std::chrono::sys_seconds instant{std::chrono::seconds{Clamped(seconds)}};
    const sys_days date = std::chrono::floor<days>(instant);
    const std::chrono::year_month_day calendar{date};
    const std::chrono::hh_mm_ss time{instant - date};
    return {.year = static_cast<int>(calendar.year()),
            .month = static_cast<std::uint8_t>(static_cast<unsigned>(calendar.month())),
            .day = static_cast<std::uint8_t>(static_cast<unsigned>(calendar.day())),
            .hour = static_cast<std::uint8_t>(time.hours().count()),
            .minute = static_cast<std::uint8_t>(time.minutes().count()),
            .second = static_cast<std::uint8_t>(time.seconds().count())};
}

CalendarTime ToLocal(const Clock& clock, UnixSeconds when) {
    when = Clamped(when);
    return ToCalendar(when + clock.localOffset(clock.self, when));
}

UnixSeconds FromLocal(const Clock& clock, const CalendarTime& local) {
    // The offset at the first guess may be that of the other side of a change to or from summer time: the offset at the
    // instant it leads to is right on both sides.
    const UnixSeconds asUtc = ToSeconds(local);
    const UnixSeconds guess = asUtc - clock.localOffset(clock.self, asUtc);
    return asUtc - clock.localOffset(clock.self, guess);
}

std::int8_t QuarterHourOffset(const Clock& clock, UnixSeconds when) {
    constexpr std::int32_t kQuarterHour = 900;
    return static_cast<std::int8_t>(
        std::clamp(clock.localOffset(clock.self, Clamped(when)) / kQuarterHour, std::int32_t{-48}, std::int32_t{52}));
}

std::optional<CalendarTime> ParseDateTime(TextView text) {
    std::uint32_t values[kFieldCount];
    for (std::size_t index = 0; index < kFieldCount; ++index) {
        const std::size_t end = text.find_first_of(u"-:");
        const bool isLast = index == kFieldCount - 1;
        if ((end == TextView::npos) != isLast) return std::nullopt;
        if (!ParseField(text.substr(0, end), kFields[index], values[index])) return std::nullopt;
        if (!isLast) text.remove_prefix(end + 1);
    }
    const auto [month, day, year, hour, minute, second] = values;
    const std::chrono::year_month_day date{std::chrono::year{static_cast<int>(year)}, std::chrono::month{month},
                                           std::chrono::day{day}};
    if (!date.ok()) return std::nullopt;
    return CalendarTime{.year = static_cast<std::int32_t>(year),
                        .month = static_cast<std::uint8_t>(month),
                        .day = static_cast<std::uint8_t>(day),
                        .hour = static_cast<std::uint8_t>(hour),
                        .minute = static_cast<std::uint8_t>(minute),
                        .second = static_cast<std::uint8_t>(second)};
}

}  // namespace tovlark
