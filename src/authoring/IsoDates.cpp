#include "authoring/IsoDates.h"

#include <algorithm>
#include <utility>

#include "base/Dates.h"

namespace tovlark {

namespace {

constexpr std::int32_t kFirstYear = 1900, kLastYear = 2155;

}  // namespace

IsoRecordDate ToRecordDate(const Clock& clock, UnixSeconds when) {
    CalendarTime local = ToLocal(clock, when);
    if (local.year < kFirstYear) local = {kFirstYear, 1, 1, 0, 0, 0};
    if (local.year > kLastYear) local = {kLastYear, 12, 31, 23, 59, 59};
    return {static_cast<std::uint8_t>(local.year - kFirstYear),
            local.month,
            local.day,
            local.hour,
            local.minute,
            local.second,
            QuarterHourOffset(clock, when)};
}

UnixSeconds RecordedDateOf(const ImageBuildContext& context, const CompilationNode& node) {
    const UnixSeconds modified = context.volumeDates[static_cast<std::size_t>(VolumeDate::Modification)];
    const bool isUndatedRoot = node.parent == nullptr && node.date == kNoDate && context.fixedDate == kNoDate;
    return isUndatedRoot && modified != 0 ? modified : context.dateOf(node);
}

IsoVolumeDate ToVolumeDate(const Clock& clock, UnixSeconds when) {
    IsoVolumeDate date;
    if (when == 0) return date;
    const CalendarTime local = ToLocal(clock, when);
    const std::pair<int, int> fields[] = {{std::clamp(local.year, 1, 9999), 4},
                                          {local.month, 2},
                                          {local.day, 2},
                                          {local.hour, 2},
                                          {local.minute, 2},
                                          {local.second, 2}};
    std::size_t end = 0;
    for (auto [value, width] : fields) {
        end += width;
        for (std::size_t place = end; width > 0; --width, value /= 10)
            date.digits[--place] = static_cast<char>('0' + value % 10);
    }
    date.quarterHours = QuarterHourOffset(clock, when);
    return date;
}

}  // namespace tovlark
