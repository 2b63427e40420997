#include <gtest/gtest.h>

#include "burn/CdCueSheet.h"
#include "simdrive/DriveFixture.h"

namespace tovlark {
namespace {

using List = std::vector<std::uint8_t>;

CdTrack Audio(std::uint32_t pregap, std::uint32_t sectors) {
    return {.type = TrackType::Audio, .sectorSize = 2352, .pregap = pregap, .sectors = sectors};
}

CdTrack Data(std::uint32_t pregap, std::uint32_t sectors, TrackType type = TrackType::Mode1,
             std::uint16_t sectorSize = 2048) {
    return {.type = type, .sectorSize = sectorSize, .pregap = pregap, .sectors = sectors};
}

TEST(CdCueSheet, HasTheBytesOfTheStandard) {
    CdTrack second = Audio(75, 300);
    second.furtherIndexes = {76};
    second.isrc = u"DEABC0512345";
    second.preEmphasis = second.copyPermitted = true;
    CdTrack quiet = Audio(0, 4575);
    quiet.fourChannels = true;
    const struct {
        const char* name;
        CdSession session;
        List bytes;
    } cases[] = {
        {"data", {{Data(150, 320)}, {}}, {0x41, 0, 0, 0x14, 0, 0, 0, 0, 0x41, 1,    0, 0x10, 0, 0, 0, 0,
                                          0x41, 1, 1, 0x10, 0, 0, 2, 0, 0x41, 0xAA, 1, 0x14, 0, 0, 6, 20}},
        {"raw data of mode 2",
         {{Data(150, 300, TrackType::Mode2Raw, 2352)}, {}},
         {0x41, 0, 0, 0x34, 0, 0, 0, 0, 0x41, 1,    0, 0x31, 0, 0, 0, 0,
          0x41, 1, 1, 0x31, 0, 0, 2, 0, 0x41, 0xAA, 1, 0x34, 0, 0, 6, 0}},
        {"audio with codes, an index and CD-Text",
         {{Audio(150, 300), second}, u"4012345678901", true},
         {0x02, '4', '0', '1',  '2', '3', '4', '5', 0x02, '6',  '7', '8', '9', '0', '1', 0,    //
          0x01, 0,   0,   0x41, 0,   0,   0,   0,   0x01, 1,    0,   0,   0,   0,   0,   0,    //
          0x01, 1,   1,   0,    0,   0,   2,   0,                                              //
          0x33, 2,   'D', 'E',  'A', 'B', 'C', '0', 0x33, 2,    '5', '1', '2', '3', '4', '5',  //
          0x31, 2,   0,   0,    0,   0,   6,   0,   0x31, 2,    1,   0,   0,   0,   7,   0,    //
          0x31, 2,   2,   0,    0,   0,   8,   1,   0x31, 0xAA, 1,   1,   0,   0,   11,  0}},
        {"data before audio",
         {{Data(150, 300), quiet}, u"not a number"},
         {0x41, 0, 0, 0x14, 0,    0, 0, 0, 0x41, 1, 0, 0x10, 0,    0,    0, 0, 0x41, 1, 1, 0x10,
          0,    0, 2, 0,    0x81, 2, 1, 0, 0,    0, 6, 0,    0x81, 0xAA, 1, 1, 0,    1, 7, 0}},
    };
    for (const auto& test : cases) {
        const auto sheet = BuildCueSheet(test.session);
        ASSERT_TRUE(sheet) << test.name;
        EXPECT_EQ(*sheet, test.bytes) << test.name;
    }
}

TEST(CdCueSheet, WhatADriveWouldRefuseIsRefused) {
    CdTrack backwards = Audio(150, 300), beyond = backwards;
    backwards.furtherIndexes = {20, 20};
    beyond.furtherIndexes = {300};
    const struct {
        const char* name;
        CdSession session;
    } cases[] = {
        {"no track", {{}, {}}},
        {"100 tracks", {std::vector(100, Audio(150, 300)), {}}},
        {"no pre-gap at the start", {{Audio(149, 300)}, {}}},
        {"under four seconds", {{Audio(150, 300), Audio(0, 299)}, {}}},
        {"indexes backwards", {{backwards}, {}}},
        {"an index in the next track", {{beyond}, {}}},
        {"beyond 99:59:74", {{Data(150, 449850)}, {}}},
        {"lengths that overflow", {{Data(150, 300), Data(0xFFFFFF00, 0xFFFFFF00)}, {}}},
        {"audio in blocks", {{Data(150, 300, TrackType::Audio, 2048)}, {}}},
        {"mode 1 of 2336 bytes", {{Data(150, 300, TrackType::Mode1, 2336)}, {}}},
    };
    for (const auto& test : cases) EXPECT_FALSE(BuildCueSheet(test.session)) << test.name;
    EXPECT_TRUE(BuildCueSheet({{Data(150, 449849)}, {}}));
}

TEST(CdCueSheet, CodesOfTheWrongFormAreLeftOut) {
    for (const TextView isrc : {u"DEABC051234", u"deabc0512345", u"DEABC05123X5", u"DE-ABC-05-12345"})
        EXPECT_FALSE(IsIsrc(isrc));
    EXPECT_TRUE(IsIsrc(u"US1AB9900001"));
    EXPECT_FALSE(IsCatalogNumber(u"123456789012"));
    EXPECT_FALSE(IsCatalogNumber(u"123456789012A"));
}

TEST(CdCueSheet, ADriveTakesIt) {
    CdTrack marked = Audio(150, 400);
    marked.furtherIndexes = {75, 150};
    marked.isrc = u"DEABC0512345";
    const CdSession sessions[] = {{{Data(150, 320)}, {}},
                                  {{Data(150, 320, TrackType::Mode2Raw, 2352)}, {}},
                                  {{marked, marked, Audio(0, 300)}, u"4012345678901"},
                                  {{Data(150, 320, TrackType::Mode1Raw, 2352), Audio(150, 320)}, {}}};
    for (const CdSession& session : sessions) {
        LoadedDrive loaded(Medium::CdR);
        ASSERT_EQ(loaded.select(2, session.tracks[0].isAudio() ? 0 : 4, session.tracks[0].isAudio() ? 0 : 8), 0u);
        const List sheet = *BuildCueSheet(session);
        Bytes data;
        for (const std::uint8_t byte : sheet) data.push_back(std::byte{byte});
        const int bytes = static_cast<int>(sheet.size());
        EXPECT_EQ(loaded.send({0x5D, 0, 0, 0, 0, 0, 0, bytes >> 8, bytes & 255}, data, DataDirection::Out), 0u);
    }
}

}  // namespace
}  // namespace tovlark
