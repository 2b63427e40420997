#include <gtest/gtest.h>

#include "platform/LocalTime.h"
#include "platform/SystemClock.h"

namespace tovlark {
namespace {

TEST(SystemClock, NormalizesDatePatterns) {
    struct Case {
        TextView pattern, normal;
    };
    const Case cases[] = {
        {u"m/d/y", u"mm/dd/yyyy"},       {u"M/d/yyyy", u"mm/dd/yyyy"},
        {u"dd.MM.yy", u"dd.mm.yyyy"},    {u"d. M. yyyy.", u"dd. mm. yyyy"},
        {u"y年m月d日", u"yyyy年mm月dd"}, {u"dd-MMM-yyyy", u"dd-mm-yyyy"},
        {u"ggy/m/d", u"yyyy/mm/dd"},     {u"dddd, d MMM yyyy", u"yyyy-mm-dd"},  // a day twice is no plain date
        {u"d/m", u"yyyy-mm-dd"},         {u"", u"yyyy-mm-dd"},
    };
    for (const Case& row : cases) EXPECT_EQ(NormalDatePattern(row.pattern), row.normal) << ToUtf8(row.pattern);
    EXPECT_EQ(NormalDatePattern(ShortDatePattern()), ShortDatePattern());
}

}  // namespace
}  // namespace tovlark
