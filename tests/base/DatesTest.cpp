#include <gtest/gtest.h>
#include <limits>

#include "base/Dates.h"

namespace tovlark {
namespace {

TEST(Dates, ParsesTheGrammar) {
    const CalendarTime christmas{2008, 12, 20, 8, 5, 9};
    struct Case {
        TextView text;
        std::optional<CalendarTime> expected;
    };
    const Case cases[] = {
        {u"12-20-2008-08:05:09", christmas},
        {u"12-20-2008:08:05:09", christmas},
        {u"12:20:2008-8-5-9", christmas},
        {u"12x-20-2008-08:05:09 rest", christmas},  // leading digits only
        {u"12-20-2008-08:05:09-", std::nullopt},    // a sixth separator
        {u"12-20-2008-08:05", std::nullopt},
        {u"12-20-2008-08:05:", std::nullopt},
        {u"12--2008-08:05:09", std::nullopt},
        {u"-12-20-2008-08:05:09", std::nullopt},
        {u" 12-20-2008-08:05:09", std::nullopt},
        {u"+12-20-2008-08:05:09", std::nullopt},
        {u"", std::nullopt},
        {u"0-20-2008-08:05:09", std::nullopt},
        {u"13-20-2008-08:05:09", std::nullopt},
        {u"12-0-2008-08:05:09", std::nullopt},
        {u"12-32-2008-08:05:09", std::nullopt},
        {u"2-31-2008-08:05:09", std::nullopt},
        {u"4-31-2008-08:05:09", std::nullopt},
        {u"2-29-2008-00:00:00", CalendarTime{2008, 2, 29, 0, 0, 0}},
        {u"2-29-2007-00:00:00", std::nullopt},
        {u"2-29-1900-00:00:00", std::nullopt},
        {u"2-29-2000-00:00:00", CalendarTime{2000, 2, 29, 0, 0, 0}},
        {u"1-1-1899-00:00:00", std::nullopt},
        {u"1-1-1900-00:00:00", CalendarTime{1900, 1, 1, 0, 0, 0}},
        {u"12-31-2800-23:59:59", CalendarTime{2800, 12, 31, 23, 59, 59}},
        {u"1-1-2801-00:00:00", std::nullopt},
        {u"1-1-2008-24:00:00", std::nullopt},
        {u"1-1-2008-00:60:00", std::nullopt},
        {u"1-1-2008-00:00:60", std::nullopt},
        {u"4294967297-1-2008-00:00:00", std::nullopt},  // not 1 after an overflow
    };
    for (const Case& row : cases) EXPECT_EQ(ParseDateTime(row.text), row.expected) << ToUtf8(row.text);
}

TEST(Dates, ConvertsBetweenSecondsAndCalendar) {
    struct Case {
        UnixSeconds seconds;
        CalendarTime time;
    };
    const Case cases[] = {
        {0, {1970, 1, 1, 0, 0, 0}},
        {-1, {1969, 12, 31, 23, 59, 59}},
        {-86401, {1969, 12, 30, 23, 59, 59}},
        {951782400, {2000, 2, 29, 0, 0, 0}},
        {4107542400, {2100, 3, 1, 0, 0, 0}},
        {2147483648, {2038, 1, 19, 3, 14, 8}},
        {26223868799, {2800, 12, 31, 23, 59, 59}},
        {-11644473600, {1601, 1, 1, 0, 0, 0}},
    };
    for (const Case& row : cases) {
        EXPECT_EQ(ToCalendar(row.seconds), row.time) << row.seconds;
        EXPECT_EQ(ToSeconds(row.time), row.seconds);
    }
    EXPECT_EQ(ToSeconds({2007, 2, 29, 0, 0, 0}), ToSeconds({2007, 3, 1, 0, 0, 0}));
    EXPECT_EQ(ToSeconds({2007, 13, 1, 0, 0, 0}), ToSeconds({2008, 1, 1, 0, 0, 0}));
    EXPECT_EQ(ToSeconds({2007, 0, 0, 0, 0, 0}), ToSeconds({2006, 11, 30, 0, 0, 0}));
}

TEST(Dates, TakesAnyInstantAFileSystemMayHold) {
    EXPECT_EQ(ToCalendar(std::numeric_limits<UnixSeconds>::max()), (CalendarTime{32766, 12, 31, 23, 59, 59}));
    EXPECT_EQ(ToCalendar(std::numeric_limits<UnixSeconds>::min()), (CalendarTime{-32766, 1, 1, 0, 0, 0}));
    EXPECT_EQ(ToSeconds({std::numeric_limits<std::int32_t>::max(), 1, 1, 0, 0, 0}), ToSeconds({32766, 1, 1, 0, 0, 0}));
}

// A zone with summer time: `base` seconds from UTC, an hour more from `start` to `end`.
struct Zone {
    std::int32_t base;
    UnixSeconds start, end;

    Clock clock() {
        return {.self = this,
                .milliseconds = nullptr,
                .sleep = nullptr,
                .now = nullptr,
                .localOffset = [](void* self, UnixSeconds when) {
                    const Zone& zone = *static_cast<Zone*>(self);
                    return zone.base + (when >= zone.start && when < zone.end ? 3600 : 0);
                }};
    }
};

TEST(Dates, FindsInstantsOfLocalTimesAroundClockChanges) {
    Zone zones[] = {{3600, ToSeconds({2026, 3, 29, 1, 0, 0}), ToSeconds({2026, 10, 25, 1, 0, 0})},
                    {-18000, ToSeconds({2026, 3, 8, 7, 0, 0}), ToSeconds({2026, 11, 1, 6, 0, 0})},
                    {43200, ToSeconds({2026, 4, 1, 14, 0, 0}), ToSeconds({2026, 9, 1, 14, 0, 0})}};
    for (Zone& zone : zones) {
        const Clock clock = zone.clock();
        for (const UnixSeconds change : {zone.start, zone.end}) {
            for (UnixSeconds when = change - 14 * 3600; when <= change + 14 * 3600; when += 600) {
                const CalendarTime local = ToLocal(clock, when);
                const UnixSeconds back = FromLocal(clock, local);
                // The repeated hour has two instants; either shows the same local time.
                ASSERT_EQ(ToLocal(clock, back), local) << zone.base << " at " << when - change;
                ASSERT_TRUE(back == when || change == zone.end) << zone.base << " at " << when - change;
            }
        }
        // The skipped hour gives an instant within an hour of the change.
        const UnixSeconds skipped = FromLocal(clock, ToCalendar(zone.start + zone.base + 1800));
        EXPECT_LE(std::abs(skipped - zone.start), 3600) << zone.base;
    }
}

TEST(Dates, GivesTheOffsetInQuarterHours) {
    struct Case {
        std::int32_t offsetSeconds;
        int quarters;
    };
    const Case cases[] = {{0, 0},      {3600, 4},     {20700, 23}, {-18000, -20}, {-12600, -14},
                          {50400, 52}, {-43200, -48}, {-172, 0},   {86400, 52},   {-86400, -48}};
    for (const Case& row : cases) {
        Zone zone{row.offsetSeconds, 0, 0};
        EXPECT_EQ(QuarterHourOffset(zone.clock(), 0), row.quarters) << row.offsetSeconds;
    }
}

}  // namespace
}  // namespace tovlark
