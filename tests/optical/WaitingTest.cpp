#include <gmock/gmock.h>

#include "optical/FakeDrive.h"
#include "optical/SendCommand.h"

namespace tovlark {
namespace {

using testing::ElementsAre;

struct WaitCase {
    const char* name;
    DriveAnswer answer;
    double factor;
    std::size_t asked;
};

TEST(WaitUntilReady, GivesUpWhenNothingWillChange) {
    const WaitCase cases[] = {
        {"no medium", Refused({2, 0x3A, 1}), 256, 1},     {"incompatible medium", Refused({2, 0x30, 0}), 256, 1},
        {"medium error", Refused({3, 0x11, 0}), 256, 1},  {"no answer", {.error = 5}, 256, 1},
        {"busy status", {.status = 8}, 256, 10},          {"becoming ready", Refused({2, 4, 1}), 256, 10},
        {"single speed", Refused({2, 4, 8}), 1, 20},      {"double speed", Refused({2, 4, 8}), 2, 15},
        {"2.5 times speed", Refused({2, 4, 8}), 2.5, 10}, {"1.5 times speed", Refused({2, 4, 8}), 1.5, 20},
    };
    for (const WaitCase& each : cases) {
        FakeDrive fake;
        fake.answer = [&](const auto&) { return each.answer; };
        fake.drive.record->writeSpeedFactor = each.factor;
        EXPECT_FALSE(WaitUntilReady(fake.drive, 10)) << each.name;
        EXPECT_EQ(fake.sent.size(), each.asked) << each.name;
        EXPECT_EQ(fake.around.fakeClock.sleeps, std::vector<std::uint32_t>(each.asked - 1, 1000)) << each.name;
        EXPECT_EQ(fake.sent[0].timeoutSeconds, 100u);
    }
}

TEST(WaitUntilReady, IsEndedByItsWatcherWithoutTheWholeSecond) {
    FakeDrive fake;
    fake.answer = [&](const auto&) { return Refused({2, 4, 7}); };
    int left = 6;
    EXPECT_FALSE(WaitUntilReady(fake.drive, 10, {&left, [](void* self) { return --*static_cast<int*>(self) > 0; }}));
    EXPECT_EQ(fake.sent.size(), 2u);
    EXPECT_EQ(fake.around.fakeClock.sleeps, std::vector<std::uint32_t>(5, 250));
}

TEST(WriteBlocks, WaitsWithoutLimitForADriveThatWorks) {
    FakeDrive fake;
    fake.answer = [&](const auto&) { return fake.sent.size() <= 5000 ? Refused({2, 4, 8}) : DriveAnswer{}; };
    const std::vector<std::byte> data(3 * 2048, std::byte{7});
    EXPECT_TRUE(WriteBlocks(fake.drive, Lba{0x10000}, data, 2048));
    EXPECT_EQ(fake.sent.size(), 5001u);
    EXPECT_THAT(fake.sent.back().cdb, ElementsAre(0x2A, 0, 0, 1, 0, 0, 0, 0, 3, 0));
    EXPECT_EQ(fake.sent.back().data, ByteList(data.size(), 7));
}

TEST(WriteBlocks, CountsPassingFailuresAndTakesNoOthers) {
    FakeDrive fake;
    // Work in progress in between does not count.
    fake.answer = [&](const auto&) { return Refused(fake.sent.size() % 2 == 0 ? Sense{2, 4, 8} : Sense{6, 0x29, 0}); };
    const std::vector<std::byte> data(2048);
    EXPECT_FALSE(WriteBlocks(fake.drive, Lba{0}, data, 2048));
    EXPECT_EQ(fake.sent.size(), 601u);

    fake.sent.clear();
    fake.answer = [](const auto&) { return Refused({3, 0x0C, 0}); };
    EXPECT_FALSE(WriteBlocks(fake.drive, Lba{0}, data, 2048));
    EXPECT_EQ(fake.sent.size(), 1u);
    EXPECT_EQ(GetLastSense(fake.drive), (Sense{3, 0x0C, 0}));
}

TEST(LockVolume, DismountsEvenAfterAForcedLockFailed) {
    using enum VolumeControl;
    struct Case {
        Force force;
        bool lockFails, isLocked;
        std::vector<VolumeControl> controls;
    };
    const Case cases[] = {{Force::No, false, true, {Lock, Dismount}},
                          {Force::No, true, false, {Lock}},
                          {Force::Yes, true, true, {Lock, Dismount}}};
    for (const Case& each : cases) {
        FakeDrive fake;
        fake.control = [&](VolumeControl control) { return control == Lock && each.lockFails ? 16u : 0u; };
        EXPECT_EQ(LockVolume(fake.drive, each.force), each.isLocked);
        EXPECT_EQ(fake.controls, each.controls);
    }
}

}  // namespace
}  // namespace tovlark
