#include <gtest/gtest.h>
#include <map>
#include <string>

#include "base/Checksum.h"
#include "image/CdText.h"

namespace tovlark {
namespace {

/// What a player makes of packs of one type: the texts of disc and tracks, in order.
std::vector<std::string> Play(const std::vector<CdTextPack>& packs, std::uint8_t type) {
    std::vector<std::string> texts(1);
    std::size_t seen = 0;
    for (const CdTextPack& pack : packs) {
        if (pack[0] != type) continue;
        EXPECT_EQ(pack[1], texts.size() - 1) << "whose text the pack begins with";
        EXPECT_EQ(pack[3], std::min<std::size_t>(texts.back().size(), 15));
        for (std::size_t at = 4; at < 16; ++at) {
            if (pack[at] != 0)
                texts.back() += static_cast<char>(pack[at]);
            else
                texts.emplace_back();
        }
        ++seen;
    }
    if (seen == 0) return {};
    while (!texts.empty() && texts.back().empty()) texts.pop_back();
    return texts;
}

TEST(CdText, PacksPlayBack) {
    CdTexts texts{.disc = {u"A disc with a long title", u"Everybody", {}, {}},
                  .catalog = u"4012345678901",
                  .tracks = {{u"One", {}, {}, {}}, {{}, u"Caf\u00E9", {}, {}}, {u"Three times is a charm", {}, {}, {}}},
                  .isrcs = {{}, u"DEABC0512345", u"not one"}};
    const auto made = BuildCdText(texts);
    ASSERT_TRUE(made);
    EXPECT_TRUE(made->changes.empty());
    EXPECT_EQ(Play(made->packs, 0x80),
              (std::vector<std::string>{"A disc with a long title", "One", "", "Three times is a charm"}));
    EXPECT_EQ(Play(made->packs, 0x81), (std::vector<std::string>{"Everybody", "", "Caf\xE9"}));
    EXPECT_EQ(Play(made->packs, 0x82), std::vector<std::string>());
    EXPECT_EQ(Play(made->packs, 0x8E), (std::vector<std::string>{"4012345678901", "", "DEABC0512345"}));
    std::map<int, int> counts;
    for (std::size_t index = 0; index < made->packs.size(); ++index) {
        const CdTextPack& pack = made->packs[index];
        EXPECT_EQ(pack[2], index);
        EXPECT_EQ(Crc16(std::as_bytes(std::span(pack)).first(16)) ^ 0xFFFF, pack[16] << 8 | pack[17]);
        ++counts[pack[0]];
    }
    // The size packs: character set, tracks, packs of each type, last pack, language.
    const CdTextPack* sizes = &made->packs[made->packs.size() - 3];
    EXPECT_EQ(sizes[0][0], 0x8F);
    EXPECT_EQ(std::vector<int>(sizes[0].begin() + 4, sizes[0].begin() + 8), (std::vector<int>{0, 1, 3, 0}));
    EXPECT_EQ(sizes[0][8], counts[0x80]);
    EXPECT_EQ(sizes[0][9], counts[0x81]);
    EXPECT_EQ(sizes[1][4 + 6], counts[0x8E]);
    EXPECT_EQ(sizes[1][4 + 7], 3);
    EXPECT_EQ(sizes[1][4 + 8], made->packs.size() - 1);
    EXPECT_EQ(sizes[2][4 + 4], 0x09);
    EXPECT_EQ(sizes[2][1], 2);
}

TEST(CdText, IsReadAsItWasWritten) {
    const CdTexts texts{
        .disc = {u"A disc with a long title", u"Everybody", {}, {}},
        .catalog = {},
        .tracks = {{u"One", {}, {}, u"Caf\u00E9"}, {{}, u"x", {}, {}}, {u"Three times is a charm", {}, u"y", {}}},
        .isrcs = {}};
    const auto made = BuildCdText(texts);
    ASSERT_TRUE(made);
    std::vector<std::uint8_t> bytes;
    for (const CdTextPack& pack : made->packs) bytes.insert(bytes.end(), pack.begin(), pack.end());
    const CdTexts read = ReadCdText(bytes);
    EXPECT_EQ(read.disc, texts.disc);
    EXPECT_EQ(read.tracks, texts.tracks);
}

TEST(CdText, ReadsShiftJisAndTheSameAsBefore) {
    using Pack = std::array<std::uint8_t, 18>;
    const Pack packs[] = {{0x80, 0, 0, 0x80, 0x93, 0xFA, 0x96, 0x7B, 0, 0, 0x88, 0x9F, 0, 0, '\t', '\t'},
                          {0x80, 2, 1, 0x81, 0, 0, 0x88, 0x9F},
                          {0x80, 0, 2, 0x90, 'o', 't', 'h', 'e', 'r'},
                          {0x81, 127, 3, 0x80, 'x', 'x'},
                          {0x8F, 0, 4, 0, 0x80}};
    std::vector<std::uint8_t> bytes;
    for (const Pack& pack : packs) bytes.insert(bytes.end(), pack.begin(), pack.end());
    bytes.push_back(0x80);
    const CdTexts read = ReadCdText(bytes);
    EXPECT_EQ(read.disc.title, u"\u65E5\u672C");
    ASSERT_EQ(read.tracks.size(), 3u);
    EXPECT_EQ(read.tracks[0].title, u"\u4E9C");
    EXPECT_EQ(read.tracks[1].title, u"\u4E9C");
    EXPECT_EQ(read.tracks[2].title, u"\u4E9C");
}

TEST(CdText, CheckBytesAreThoseThatPlayersExpect) {
    const auto made = BuildCdText({.disc = {u"Joyful Nights", {}, {}, {}}, .catalog = {}, .tracks = {{}}, .isrcs = {}});
    ASSERT_TRUE(made);
    EXPECT_EQ(made->packs[0][16], 0xF0);
    EXPECT_EQ(made->packs[0][17], 0xF7);
}

TEST(CdText, ForeignCharactersAreReplacedOrTheTextIsLeftOut) {
    const struct {
        TextView original, written;
    } cases[] = {{u"\u201CLa vie\u2026\u201D \u2013 \u0141\u00F3d\u017A", u"\"La vie...\" - L\u00F3dz"},
                 {u"\u65E5\u672C", u""},
                 {u"tab\there", u""},
                 {u"\u0085", u""},
                 {u"\U0001F600", u""}};
    for (const auto& test : cases) {
        const auto made =
            BuildCdText({.disc = {Text(test.original), u"x", {}, {}}, .catalog = {}, .tracks = {{}}, .isrcs = {}});
        ASSERT_TRUE(made);
        ASSERT_EQ(made->changes.size(), 1u);
        EXPECT_EQ(made->changes[0].original, test.original);
        EXPECT_EQ(made->changes[0].written, test.written);
    }
}

TEST(CdText, WhatABlockCannotHoldIsRefused) {
    EXPECT_TRUE(BuildCdText({.disc = {}, .catalog = u"4012345678901", .tracks = {{}}, .isrcs = {}})->packs.empty());
    EXPECT_FALSE(BuildCdText({.disc = {}, .catalog = {}, .tracks = std::vector<DiscText>(100), .isrcs = {}}));
    // 253 packs of text and 3 of sizes fill a block; the title's zero and the track's count.
    const auto withTitle = [](std::size_t length) {
        return BuildCdText({.disc = {Text(length, u'x'), {}, {}, {}}, .catalog = {}, .tracks = {{}}, .isrcs = {}});
    };
    ASSERT_TRUE(withTitle(253 * 12 - 2));
    EXPECT_EQ(withTitle(253 * 12 - 2)->packs.size(), 256u);
    EXPECT_FALSE(withTitle(253 * 12 - 1));
    EXPECT_FALSE(withTitle(1000000));
}

TEST(CdText, PacksGoRoundInTheLeadIn) {
    std::vector<CdTextPack> packs(6);
    for (std::size_t index = 0; index < packs.size(); ++index)
        packs[index].fill(static_cast<std::uint8_t>(0xA0 + index));
    const auto sector = CdTextSector(packs, 1);  // packs 4, 5, 0 and 1
    EXPECT_EQ(std::vector<int>(sector.begin(), sector.begin() + 4), (std::vector<int>{0x29, 0x0A, 0x12, 0x24}));
    EXPECT_EQ(sector[48], 0xA0 >> 2);
    EXPECT_EQ(sector[95], 0xA1 & 0x3F);
}

}  // namespace
}  // namespace tovlark
