#include <gtest/gtest.h>

#include "platform/CodePage.h"

namespace tovlark {
namespace {

TEST(CodePage, MapsWhatThePageHas) {
    struct Case {
        std::uint32_t page;
        TextView text;
        std::string bytes;
    };
    const Case cases[] = {
        {1252, u"Aé€ÿ", "A\xE9\x80\xFF"},
        {1252, u"\u0081\u008D\u009D", "\x81\x8D\x9D"},  // bytes that stand for nothing else
        {1251, u"Жя№", "\xC6\xFF\xB9"},
        {1255, u"\u05D0\u05B7", "\xE0\xC7"},  // a base letter is not held back
        {1258, u"a\u0301ơ", "a\xEC\xF5"},     // nor composed
        {874, u"กข", "\xA1\xA2"},
        {932, u"日本語ｱ表", "\x93\xFA\x96{\x8C\xEA\xB1\x95\\"},
        {932, u"①纊∵Ⅰ", "\x87\x40\xFA\x5C\x81\xE6\x87\x54"},  // of several codes the one that is written
        {932, u"\\~￢", "\\~\x81\xCA"},
        {936, u"中文€", "\xD6\xD0\xCE\xC4\x80"},
        {949, u"한글똠", "\xC7\xD1\xB1\xDB\x8C\x63"},
        {950, u"中文", "\xA4\xA4\xA4\xE5"},
    };
    for (const Case& row : cases) {
        const CodePage page(row.page);
        EXPECT_EQ(page.number(), row.page);
        EXPECT_EQ(page.encode(row.text, '?'), row.bytes) << row.page << " " << ToUtf8(row.text);
        EXPECT_EQ(page.decode(row.bytes), row.text) << row.page;
    }
}

TEST(CodePage, GuessesNothing) {
    struct Case {
        std::uint32_t page;
        TextView text;
        std::string bytes;
    };
    const Case cases[] = {
        {1252, u"Āł∞日", "____"},                   // look-alikes exist for the first three
        {1252, u"💿", "_"},                          // one substitute a character
        {1252, TextView(u"\xD83D\xDCE9", 1), "_"},  // half a pair
        {1252, u"\uFFFD\uE000", "__"},
        {932, u"é", "_"},
    };
    for (const Case& row : cases) EXPECT_EQ(CodePage(row.page).encode(row.text, '_'), row.bytes) << ToUtf8(row.text);
    std::string bytes = "kept";
    EXPECT_FALSE(CodePage(1252).encode(U'日', bytes));
    EXPECT_EQ(bytes, "kept");
}

TEST(CodePage, DecodesBrokenBytes) {
    const CodePage page(932);
    EXPECT_TRUE(page.isLeadByte(0x93));
    EXPECT_FALSE(page.isLeadByte(0xB1));
    EXPECT_FALSE(CodePage(1252).isLeadByte(0x93));
    EXPECT_EQ(page.decode("a\x93"), u"a\uFFFD");
    EXPECT_EQ(page.decode("\x93/x"), u"\uFFFD/x") << "a separator is not swallowed";
}

// Whatever a page decodes it encodes, and that decodes to the same: names survive being written and read.
TEST(CodePage, ReturnsToTheSameText) {
    for (const std::uint32_t number : {1250u, 1252u, 1253u, 1257u, 932u, 936u, 949u, 950u}) {
        const CodePage page(number);
        for (unsigned value = 0; value < 0x10000; ++value) {
            std::string bytes;
            if (page.isLeadByte(static_cast<unsigned char>(value >> 8)))
                bytes.push_back(static_cast<char>(value >> 8));
            else if (value > 0xFF)
                continue;
            bytes.push_back(static_cast<char>(value & 0xFF));
            const Text text = page.decode(bytes);
            if (text.find(u'\uFFFD') != Text::npos) continue;
            ASSERT_EQ(page.decode(page.encode(text, '?')), text) << number << " " << value;
        }
    }
}

TEST(CodePage, FallsBackTo1252) {
    for (const std::uint32_t number : {0u, 1u, 7u, 1200u, 54936u, 65000u, 65001u, 99999u}) {
        const CodePage page(number);
        EXPECT_EQ(page.number(), 1252u) << number;
        EXPECT_EQ(page.encode(u"é", '?'), "\xE9");
    }
}

}  // namespace
}  // namespace tovlark
