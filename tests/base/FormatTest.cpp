#include <gtest/gtest.h>
#include <limits>

#include "base/Format.h"

namespace tovlark {
namespace {

struct FormatCase {
    TextView format;
    std::initializer_list<FormatArgument> arguments;
    TextView expected;
};

TEST(Format, FillsTheFormsOfTheTexts) {
    const FormatCase cases[] = {
        {u"%s (%d-%08x)", {u"Error writing data.", 12, 0x30C00u}, u"Error writing data. (12-00030c00)"},
        {u"%08x", {std::int32_t{-2}}, u"fffffffe"},
        {u"%x %X", {std::int8_t{-1}, std::int64_t{-1}}, u"ff FFFFFFFFFFFFFFFF"},
        {u"%u", {std::int32_t{-1}}, u"4294967295"},
        {u"%d", {std::uint32_t{0xFFFFFFFF}}, u"4294967295"},  // never turned negative
        {u"%d|%i", {std::numeric_limits<std::int64_t>::min(), 7}, u"-9223372036854775808|7"},
        {u"%4.4d%2.2d%2.2d", {2026, 1, 9}, u"20260109"},
        {u"%-18s|%18s|", {u"<DIR>", u"1,024"}, u"<DIR>             |             1,024|"},
        {u"%5d%%|%-5d%%", {7, 7}, u"    7%|7    %"},
        {u"%.3fM %.1fx (%uKB/s)", {1.0625, 2.4, 352u}, u"1.062M 2.4x (352KB/s)"},
        {u"%lu %I64u %lld %hd %zu", {1u, 2u, 3, 4, 5u}, u"1 2 3 4 5"},
        {u"\\\\.\\%c:", {u'F'}, u"\\\\.\\F:"},
        {u"%c", {0x1F4BF}, u"💿"},
        {u"%.3s|%5.2s|%-4.1s|", {u"abcdef", u"xyz", u"xyz"}, u"abc|   xy|x   |"},
        {u"%.2s|", {u"a💿b"}, u"a|"},  // no half of a pair
        {u"no conversions", {1}, u"no conversions"},
    };
    for (const FormatCase& row : cases) EXPECT_EQ(FormatText(row.format, row.arguments), row.expected);
}

TEST(Format, SurvivesFormatsThatDoNotFit) {
    const FormatCase cases[] = {
        {u"%s", {42}, u"42"},
        {u"%s|%8s|%-4s|", {-42, 7, 7}, u"-42|       7|7   |"},
        {u"%d", {u"text"}, u"text"},
        {u"%6x|", {u"text"}, u"  text|"},
        {u"%f", {3}, u"3"},
        {u"%d", {2.5}, u"2.5"},
        {u"%c", {u"text"}, u"text"},
        {u"%c", {-1}, u"-1"},
        {u"%s and %08x", {u"one"}, u"one and %08x"},
        {u"%", {1}, u"%"},
        {u"100%", {1}, u"100%"},
        {u"%-+0 #5.3ll", {1}, u"%-+0 #5.3ll"},
        {u"%n%p%*d%y", {1}, u"%n%p%*d%y"},
        {u"%y%d", {5}, u"%y5"},  // what follows an unknown letter still counts
        {u"%%d %d", {5}, u"%d 5"},
        {u"%1$s", {u"x"}, u"%1$s"},
    };
    for (const FormatCase& row : cases) EXPECT_EQ(FormatText(row.format, row.arguments), row.expected);
    EXPECT_EQ(FormatText(u"%99999999999999999999d", {1}).size(), 4096u);
    EXPECT_EQ(FormatText(u"%.99999999999999999999d", {1}).size(), 4096u);
    EXPECT_EQ(FormatText(u"%.99999999999999999999f", {1e308}).size(), 309u + 1 + 4096);
}

TEST(Format, ComparesConversionsOfTranslations) {
    struct Case {
        TextView left, right;
        bool areSame;
    };
    const Case cases[] = {
        {u"Cannot copy %s: %s", u"%s kann nicht kopiert werden: %s", true},
        {u"%d of %u", u"%i von %08x", true},
        {u"%5.1f%%", u"%.2f %%", true},
        {u"%d and %s", u"%s and %d", false},
        {u"%s", u"%s %s", false},
        {u"%s", u"", false},
        {u"plain", u"plain 100%", true},
        {u"%d", u"%%d", false},
        {u"%c", u"%d", false},
        {u"%d", u"%f", false},
        {u"plain", u"%n", true},  // prints as it stands and takes nothing
    };
    for (const Case& row : cases)
        EXPECT_EQ(HaveSameConversions(row.left, row.right), row.areSame)
            << ToUtf8(row.left) << " / " << ToUtf8(row.right);
}

TEST(Format, GroupsAndShortensSizes) {
    struct Case {
        std::uint64_t value;
        TextView grouped, size;
    };
    const Case cases[] = {
        {0, u"0", u"0 bytes"},
        {1, u"1", u"1 byte"},
        {999, u"999", u"999 bytes"},
        {1000, u"1,000", u"1000 bytes"},
        {1024, u"1,024", u"1.00 KB"},
        {123456, u"123,456", u"121 KB"},
        {10235, u"10,235", u"10.0 KB"},       // not "9.995" cut to four digits
        {1048063, u"1,048,063", u"1023 KB"},  // the last below the next unit ...
        {1048064, u"1,048,064", u"1.00 MB"},  // ... and the first that rounds up to it
        {4294967296, u"4,294,967,296", u"4.00 GB"},
        {18446744073709551615u, u"18,446,744,073,709,551,615", u"16.0 EB"},
    };
    for (const Case& row : cases) {
        EXPECT_EQ(FormatGrouped(row.value), row.grouped);
        EXPECT_EQ(FormatSize(row.value), row.size) << row.value;
    }
}

}  // namespace
}  // namespace tovlark
