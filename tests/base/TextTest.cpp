#include <gtest/gtest.h>

#include "base/Text.h"

namespace tovlark {
namespace {

struct DecodingCase {
    const char* fault;
    std::string bytes;
    Text text;
};

const DecodingCase kDecodings[] = {
    {"each length of sequence", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x92\xBF", u"aé€💿"},
    {"limits of each length", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
     u"\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"},
    {"next to the surrogates", "\xED\x9F\xBF\xEE\x80\x80", u"\uD7FF\uE000"},
    {"NUL is text", std::string("a\0b", 3), Text(u"a\0b", 3)},
    {"Latin-1 name", "caf\xE9.txt", Text(u"caf\xDCE9.txt")},
    {"overlong slash", "\xC0\xAF", Text(u"\xDCC0\xDCAF")},
    {"overlong, three and four bytes", "\xE0\x80\xAF\xF0\x8F\xBF\xBF",
     Text(u"\xDCE0\xDC80\xDCAF\xDCF0\xDC8F\xDCBF\xDCBF")},
    {"encoded surrogate", "\xED\xA0\x80", Text(u"\xDCED\xDCA0\xDC80")},
    {"encoded surrogate pair", "\xED\xA0\xBD\xED\xB2\xBF", Text(u"\xDCED\xDCA0\xDCBD\xDCED\xDCB2\xDCBF")},
    {"beyond U+10FFFF", "\xF4\x90\x80\x80\xF5\xFF", Text(u"\xDCF4\xDC90\xDC80\xDC80\xDCF5\xDCFF")},
    {"cut at the end", "x\xF0\x9F\x92", Text(u"x\xDCF0\xDC9F\xDC92")},
    {"cut before a character", "\xE2\x82z", Text(u"\xDCE2\xDC82z")},
    {"a lead byte in the place of a trail byte", "\xE2\xC3\xA9", Text(u"\xDCE2é")},
    {"stray trail byte after a pair", "\xF0\x9F\x92\xBF\x80", Text(u"💿\xDC80")},
};

TEST(Text, DecodesUtf8AndKeepsBrokenBytes) {
    for (const DecodingCase& row : kDecodings) {
        EXPECT_EQ(FromUtf8(row.bytes), row.text) << row.fault;
        EXPECT_EQ(ToUtf8(row.text), row.bytes) << row.fault;
    }
}

TEST(Text, KeepsEveryTwoBytes) {
    for (unsigned value = 0; value < 0x10000; ++value) {
        const char pair[] = {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
        const std::string bytes(pair, 2);
        ASSERT_EQ(ToUtf8(FromUtf8(bytes)), bytes) << value;
    }
}

TEST(Text, EncodesLoneSurrogatesThatStandForNoByte) {
    EXPECT_EQ(ToUtf8(Text(u"\xD83Dx")), "\xED\xA0\xBDx");
    EXPECT_EQ(ToUtf8(Text(u"\xDC7F\xDD00")), "\xED\xB1\xBF\xED\xB4\x80");
    EXPECT_EQ(ToUtf8(Text(u"\xD83D\xD83D\xDCBF")), "\xED\xA0\xBD\xF0\x9F\x92\xBF") << "the second half pairs up";
}

TEST(Text, UpperCasesBySimpleMapping) {
    struct Case {
        TextView text, upper;
    };
    const Case cases[] = {
        {u"az{`AZ09", u"AZ{`AZ09"},
        {u"éÿ", u"ÉŸ"},
        {u"straße", u"STRAßE"},                                          // full mapping would give SS
        {u"ıiİ", u"IIİ"},                                                // no Turkish rule
        {u"ςσΣ", u"ΣΣΣ"},                                                //
        {u"ǆǅ", u"ǄǄ"},                                                  // title case has an upper case too
        {u"жѝԱა", u"ЖЍԱᲐ"},                                         //
        {u"𐐨𞥃", u"𐐀𞤡"},                                      // beyond the BMP
        {TextView(u"\xD801z\xDC28", 3), TextView(u"\xD801Z\xDC28", 3)},  // lone halves stay
    };
    for (const Case& row : cases) EXPECT_EQ(UpperCase(row.text), row.upper) << ToUtf8(row.text);
}

TEST(Text, ComparesIgnoringCase) {
    EXPECT_TRUE(EqualsIgnoringCase(u"Ordner Ä.ISO", u"oRDNER ä.iso"));
    EXPECT_TRUE(EqualsIgnoringCase(u"𐐨", u"𐐀"));
    EXPECT_FALSE(EqualsIgnoringCase(u"abc", u"abcd"));
    EXPECT_FALSE(EqualsIgnoringCase(u"abcd", u"abc"));
    EXPECT_FALSE(EqualsIgnoringCase(u"ss", u"ß"));
}

TEST(Text, CountsColumnsOfATerminal) {
    struct Case {
        TextView text;
        std::size_t columns;
    };
    const Case cases[] = {
        {u"", 0},
        {u"ab ~", 4},
        {u"\u00E4\u2013", 2},
        {u"\u65E5\u672C x", 6},
        {u"\uFF71", 1},               // half width katakana
        {u"\uFF21", 2},               // full width Latin
        {u"\u1100\u115F\u1160", 5},   // the last wide one of a range and its successor
        {u"\U00020000", 2},           // beyond the BMP
        {TextView(u"\xD840", 1), 1},  // a lone half
    };
    for (const Case& row : cases) EXPECT_EQ(CountColumns(row.text), row.columns) << ToUtf8(row.text);
}

}  // namespace
}  // namespace tovlark
