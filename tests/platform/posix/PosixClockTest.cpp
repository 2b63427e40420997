#include <gtest/gtest.h>
#include <locale.h>
#include <stdlib.h>
#include <time.h>

#include "platform/SystemClock.h"

namespace tovlark {
namespace {

// Must stay out of the way of other tests: it puts the zone back.
TEST(PosixClock, KnowsTheOffsetOfEachInstant) {
    const char* old = ::getenv("TZ");
    const std::string oldZone = old != nullptr ? old : "";
    ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    ::tzset();
    const Clock clock = SystemClock();
    EXPECT_EQ(clock.localOffset(clock.self, 1767225600), 3600);      // 2026-01-01
    EXPECT_EQ(clock.localOffset(clock.self, 1782864000), 7200);      // 2026-07-01
    EXPECT_EQ(clock.localOffset(clock.self, 1774746000 - 1), 3600);  // 2026-03-29 01:00 UTC
    EXPECT_EQ(clock.localOffset(clock.self, 1774746000), 7200);
    EXPECT_EQ(clock.localOffset(clock.self, INT64_MAX), 0);
    old != nullptr ? ::setenv("TZ", oldZone.c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
}

TEST(PosixClock, TakesTheDatePatternOfTheEnvironmentNotOfTheProcess) {
    const std::string before = ::setlocale(LC_ALL, nullptr);
    const char* old = ::getenv("LC_ALL");
    const std::string oldLocale = old != nullptr ? old : "";
    ::setenv("LC_ALL", "C", 1);
    EXPECT_EQ(ShortDatePattern(), u"mm/dd/yyyy");
    ::setenv("LC_ALL", "no_SUCH.locale", 1);
    EXPECT_EQ(ShortDatePattern(), u"yyyy-mm-dd");
    old != nullptr ? ::setenv("LC_ALL", oldLocale.c_str(), 1) : ::unsetenv("LC_ALL");
    EXPECT_EQ(before, ::setlocale(LC_ALL, nullptr));
}

}  // namespace
}  // namespace tovlark
