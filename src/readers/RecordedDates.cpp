#include "readers/RecordedDates.h"

#include "base/Dates.h"

namespace tovlark {

namespace {

constexpr std::int32_t kSecondsPerQuarter = 15 * 60;

std::optional<UnixSeconds> ToInstant(const CalendarTime& local, std::int8_t quarterHours) {
    const bool isValid = local.month >= 1 && local.month <= 12 && local.day >= 1 && local.day <= 31 &&
                         local.hour <= 23 && local.minute <= 59 && local.second <= 60;
    if (!isValid) return std::nullopt;
    const bool hasOffset = quarterHours >= -48 && quarterHours <= 52;
    return ToSeconds(local) - (hasOffset ? quarterHours * kSecondsPerQuarter : 0);
}

}  // namespace

std::optional<UnixSeconds> FromRecordDate(const IsoRecordDate& date) {
    return ToInstant({1900 + date.yearsSince1900, date.month, date.day, date.hour, date.minute, date.second},
                     date.quarterHours);
}

std::optional<UnixSeconds> FromVolumeDate(const IsoVolumeDate& date) {
    for (const char digit : date.digits) {
        if (digit < '0' || digit > '9') return std::nullopt;
    }
    const auto number = [&](int first, int count) {
        int value = 0;
        for (int index = first; index < first + count; ++index) value = value * 10 + (date.digits[index] - '0');
        return value;
    };
    const auto field = [&](int first) { return static_cast<std::uint8_t>(number(first, 2)); };
    if (number(0, 4) == 0) return std::nullopt;
    return ToInstant({number(0, 4), field(4), field(6), field(8), field(10), field(12)}, date.quarterHours);
}

}  // namespace tovlark
