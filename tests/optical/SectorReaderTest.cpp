#include <gmock/gmock.h>

#include "optical/FakeDrive.h"
#include "optical/SectorReader.h"

namespace tovlark {
namespace {

using testing::ElementsAre;

TEST(SectorReader, AsksForWhatTheFormNeedsInPiecesOf64KiB) {
    struct Case {
        SectorForm form;
        SubChannel subChannel;
        std::uint32_t bytes;
        ByteList firstCdb, lastCdb;  // of 40 sectors from 100 on
    };
    using enum SectorForm;
    const Case cases[] = {
        {Blocks, SubChannel::None, 2048, {0x28, 0, 0, 0, 0, 100, 0, 0, 32, 0}, {0x28, 0, 0, 0, 0, 132, 0, 0, 8, 0}},
        {Raw,
         SubChannel::None,
         2352,
         {0xBE, 0, 0, 0, 0, 100, 0, 0, 27, 0xF8, 0, 0},
         {0xBE, 0, 0, 0, 0, 127, 0, 0, 13, 0xF8, 0, 0}},
        {Audio,
         SubChannel::Raw,
         2448,
         {0xBE, 4, 0, 0, 0, 100, 0, 0, 26, 0xF8, 1, 0},
         {0xBE, 4, 0, 0, 0, 126, 0, 0, 14, 0xF8, 1, 0}},
        {Mode2,
         SubChannel::None,
         2336,
         {0xBE, 0, 0, 0, 0, 100, 0, 0, 28, 0x58, 0, 0},
         {0xBE, 0, 0, 0, 0, 128, 0, 0, 12, 0x58, 0, 0}},
        {Mode1Data,
         SubChannel::Q,
         2064,
         {0xBE, 8, 0, 0, 0, 100, 0, 0, 31, 0x10, 2, 0},
         {0xBE, 8, 0, 0, 0, 131, 0, 0, 9, 0x10, 2, 0}},
    };
    for (const Case& each : cases) {
        FakeDrive fake;
        fake.answer = [](const auto&) { return DriveAnswer{.data = ByteList(65536, 9)}; };
        const SectorReader reader{.drive = fake.drive, .form = each.form, .subChannel = each.subChannel};
        ASSERT_EQ(SectorBytes(reader), each.bytes);
        std::vector<std::byte> buffer(40 * each.bytes);
        EXPECT_TRUE(ReadSectors(reader, Lba{100}, 40, buffer));
        ASSERT_EQ(fake.sent.size(), 2u);
        EXPECT_EQ(fake.sent[0].cdb, each.firstCdb);
        EXPECT_EQ(fake.sent[1].cdb, each.lastCdb);
        EXPECT_EQ(buffer.back(), std::byte{9});
    }
}

TEST(SectorReader, LeavesTheDecisionAboutBadSectorsToTheHook) {
    FakeDrive fake;
    // The second piece fails twice, then a third time in a way that looks like success: too few bytes.
    fake.answer = [&](const auto& sent) {
        if (sent.cdb[5] != 32) return DriveAnswer{.data = ByteList(65536, 1)};
        return fake.sent.size() <= 3 ? Refused({3, 0x11, 5}) : DriveAnswer{.data = ByteList(2047, 1)};
    };
    struct Hook {
        DriveRecord* record;
        std::vector<std::uint32_t> streaks;
        static AfterReadError decide(void* self, Lba first, std::uint32_t sectors) {
            Hook& hook = *static_cast<Hook*>(self);
            EXPECT_EQ(first, Lba{32});
            EXPECT_EQ(sectors, 1u);
            hook.streaks.push_back(hook.record->readErrorStreak);
            return hook.streaks.size() < 3 ? AfterReadError::Retry : AfterReadError::LeaveZeros;
        }
    } hook{fake.drive.record, {}};
    const SectorReader reader{.drive = fake.drive, .recovery = {&hook, &Hook::decide}, .shortensTimeouts = true};
    std::vector<std::byte> buffer(33 * 2048, std::byte{5});
    EXPECT_TRUE(ReadSectors(reader, Lba{0}, 33, buffer));
    EXPECT_THAT(hook.streaks, ElementsAre(1u, 2u, 3u));
    EXPECT_EQ(buffer[32 * 2048 - 1], std::byte{1});
    EXPECT_EQ(std::count(buffer.end() - 2048, buffer.end(), std::byte{0}), 2048);

    EXPECT_FALSE(ReadSectors({.drive = fake.drive}, Lba{32}, 1, buffer)) << "nobody decides";
    EXPECT_EQ(fake.drive.record->readErrorStreak, 3u) << "only who asks for it counts";
}

}  // namespace
}  // namespace tovlark
