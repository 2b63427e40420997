#include <gtest/gtest.h>

#include "optical/FakeDrive.h"
#include "optical/Speeds.h"

namespace tovlark {
namespace {

struct SpeedCase {
    std::uint32_t rate;
    MediaType type;
    std::uint32_t unit;  // chosen
    Text label;          // empty: not listed
};

TEST(AddSpeedEntry, ChoosesTheUnitAndTheWords) {
    using enum MediaType;
    const SpeedCase cases[] = {
        {7040, None, 176, u"40x (7040KB/s)"},
        {2770, None, 1385, u"2x (2770KB/s)"},
        {8310, None, 1385, u"6x (8310KB/s)"},
        {kMaximumSpeed, None, kChooseUnit, u"Maximum"},
        {0, None, 1385, u""},
        {100, DvdR, 1385, u""},
        {1200, CdRw, 150, u"8x (1200KB/s)"},
        {1234, CdR, 176, u"7x (1234KB/s)"},
        {1146, CdR, 176, u"6.5x (1146KB/s)"},
        {1843, CdR, 176, u"10x (1843KB/s)"},  // 10.47: from ten times on only whole numbers
        {4495, BdR, 4495, u"1x (4495KB/s)"},
        {8991, BdR, 4495, u"2x (8991KB/s)"},
        {8991, None, 4495, u"2x (8991KB/s)"},
        {5537, DvdPlusR, 1385, u"4x (5537KB/s)"},
        {3324, DvdR, 1385, u"2.4x (3324KB/s)"},
        {35000, None, 4495, u"7.8x (35000KB/s)"},
        {5000, None, 176, u"28x (5000KB/s)"},
        {12465, None, 1385, u"9x (12465KB/s)"},
    };
    const Texts texts;
    for (const SpeedCase& each : cases) {
        std::vector<SpeedEntry> list;
        std::uint32_t unit = kChooseUnit;
        AddSpeedEntry(texts, list, each.rate, unit, each.type);
        EXPECT_EQ(unit, each.unit) << each.rate;
        ASSERT_EQ(list.empty(), each.label.empty()) << each.rate;
        if (list.empty()) continue;
        EXPECT_EQ(ToUtf8(list[0].label), ToUtf8(each.label));
        EXPECT_EQ(list[0].kbPerSecond, each.rate);
    }
}

TEST(SetDriveSpeed, FallsBackToTheCommandOfCdDrives) {
    FakeDrive fake;
    fake.answer = [](const auto& sent) { return sent.cdb[0] == 0xB6 ? Refused({5, 0x20, 0}) : DriveAnswer{}; };
    EXPECT_TRUE(SetDriveSpeed(fake.drive, MediaType::DvdR, kMaximumSpeed, 2770));
    ASSERT_EQ(fake.sent.size(), 2u);
    EXPECT_EQ(fake.sent[0].data, (ByteList{0,    0,    0, 0, 0,    0,    0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                           0xFF, 0xFF, 0, 0, 0x03, 0xE8, 0, 0, 0x0A, 0xD2, 0,    0,    0x03, 0xE8}));
    EXPECT_EQ(fake.sent[1].cdb, (ByteList{0xBB, 0, 0xFF, 0xFF, 0x0A, 0xD2, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(fake.drive.record->writeSpeedFactor, 2);
}

TEST(ReadWriteSpeeds, TakesNoMoreThanTheReplyHas) {
    FakeDrive fake;
    ByteList list(8 + 2 * 16);
    list[0] = list[1] = 0xFF;  // claims far more
    list[8 + 14] = 0x15, list[8 + 15] = 0xA4;
    list[24 + 14] = 0x0A, list[24 + 15] = 0xD2;
    fake.answer = [&](const auto& sent) {
        return sent.cdb[0] == 0xAC ? DriveAnswer{.data = list} : Refused({5, 0x20, 0});
    };
    EXPECT_EQ(ReadWriteSpeeds(fake.drive), (std::vector<std::uint32_t>{5540, 2770}));

    ByteList page(8 + 32 + 4);
    page[8] = 0x2A, page[8 + 31] = 200, page[8 + 34] = 0x1B, page[8 + 35] = 0x80;
    fake.answer = [&](const auto& sent) {
        return sent.cdb[0] == 0x5A ? DriveAnswer{.data = page} : Refused({5, 0x20, 0});
    };
    EXPECT_EQ(ReadWriteSpeeds(fake.drive), std::vector<std::uint32_t>{7040});
}

}  // namespace
}  // namespace tovlark
