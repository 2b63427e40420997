#include <gmock/gmock.h>

#include "optical/Commands.h"
#include "optical/DriveStatusTable.h"
#include "optical/FakeDrive.h"
#include "optical/SendCommand.h"

namespace tovlark {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct RefusedCase {
    const char* fault;
    ByteList cdb;
    bool hasLength, hasBuffer, hasSense;
    std::uint32_t length, senseLength;
};

TEST(SendCommand, SendsNothingThatIsMalformed) {
    const ByteList read(10, 0x28);
    const RefusedCase cases[] = {
        {"no command block", {}, true, false, false, 0, 0},
        {"17 bytes", ByteList(17, 0x60), true, false, false, 0, 0},
        {"group 0 with 10 bytes", {0x12, 0, 0, 0, 36, 0, 0, 0, 0, 0}, true, true, false, 36, 0},
        {"group 1 with 6 bytes", ByteList(6, 0x28), true, false, false, 0, 0},
        {"group 5 with 10 bytes", ByteList(10, 0xA1), true, false, false, 0, 0},
        {"sense length without buffer", read, true, false, false, 0, 18},
        {"sense buffer without length", read, true, false, true, 0, 0},
        {"no transfer length", read, false, true, false, 8, 0},
        {"length without buffer", read, true, false, false, 8, 0},
        {"buffer without length", read, true, true, false, 0, 0},
    };
    for (const RefusedCase& each : cases) {
        FakeDrive fake;
        fake.drive.record->log = &fake.around.log;
        std::byte buffer[64], sense[18];
        std::uint32_t length = each.length;
        EXPECT_FALSE(SendCommand(fake.drive, {.cdb = std::as_bytes(std::span(each.cdb)),
                                              .buffer = each.hasBuffer ? buffer : nullptr,
                                              .transferLength = each.hasLength ? &length : nullptr,
                                              .senseBuffer = each.hasSense ? sense : nullptr,
                                              .senseLength = each.senseLength,
                                              .dataIn = true,
                                              .timeoutSeconds = 1}))
            << each.fault;
        EXPECT_THAT(fake.sent, IsEmpty()) << each.fault;
        EXPECT_EQ(fake.lines().back(), u"C1 ERROR") << each.fault;
    }
}

TEST(SendCommand, KeepsTheCodesOfAFailureUntilTheNextCommand) {
    FakeDrive fake;
    fake.answer = [](const auto&) { return Refused({5, 0x24, 0}); };
    EXPECT_FALSE(SendPlain(fake.drive, ReserveTrack(1)));
    EXPECT_EQ(GetLastDriveError(fake.drive), 0x00240553u ^ 0x3C5A3C5Au);
    EXPECT_EQ(GetLastSense(fake.drive).triple(), 0x052400u);
    EXPECT_EQ(GetLastScsiStatus(fake.drive), 2);

    fake.answer = [](const auto&) { return DriveAnswer{.error = 0x10079}; };
    EXPECT_FALSE(SendPlain(fake.drive, ReserveTrack(1)));
    EXPECT_EQ(GetLastDriveError(fake.drive), 0xFF530079u ^ 0x3C5A3C5Au);
    EXPECT_EQ(GetLastSense(fake.drive), Sense{});

    fake.answer = [](const auto&) { return DriveAnswer{.status = 8}; };
    EXPECT_FALSE(SendPlain(fake.drive, TestUnitReady())) << "a status without sense data is a failure too";
    EXPECT_EQ(GetLastScsiStatus(fake.drive), 8);

    fake.answer = [](const auto&) { return DriveAnswer{}; };
    EXPECT_TRUE(SendPlain(fake.drive, TestUnitReady()));
    EXPECT_EQ(GetLastDriveError(fake.drive), 0u);
}

TEST(SendCommand, CopiesSenseDataAsLongAsTheyAreButNoLonger) {
    struct Case {
        std::uint8_t additional;
        std::uint32_t room;
        std::size_t copied;
    };
    for (const Case each : {Case{20, 32, 18}, Case{10, 18, 18}, Case{10, 14, 14}, Case{2, 18, 10}}) {
        DiscDevice device{nullptr,
                          [](void*, PassThrough& command) {
                              std::ranges::fill(command.sense, std::byte{0x33});
                              command.sense[7] = std::byte{static_cast<std::uint8_t>(command.timeoutSeconds)};
                              return SystemError{};
                          },
                          nullptr, nullptr};
        OpenedDrive drive{DriveRecord{.device = device}};
        const Cdb test = TestUnitReady();
        std::byte sense[32];
        std::uint32_t length = 0;
        EXPECT_FALSE(SendCommand(drive.get(), {.cdb = test.view(),
                                               .transferLength = &length,
                                               .senseBuffer = sense,
                                               .senseLength = each.room,
                                               .timeoutSeconds = each.additional}));
        for (std::size_t index = 0; index < each.room; ++index)
            EXPECT_EQ(sense[index] != std::byte{0}, index < each.copied) << index;
    }
}

TEST(SendCommand, LogsWhatAReaderNeedsAndNoMore) {
    FakeDrive fake;
    fake.drive.record->log = &fake.around.log;
    fake.answer = [](const auto&) { return DriveAnswer{.data = {0xAB, 0xCD}}; };
    std::byte buffer[8];
    ReplyView reply;
    EXPECT_TRUE(SendPlain(fake.drive, TestUnitReady()));
    EXPECT_TRUE(ReceiveData(fake.drive, ReadToc(TocFormat::Tracks, 1, 4), std::span(buffer, 4), reply));
    EXPECT_EQ(reply.size(), 2u) << "what the drive sent, not what was asked for";
    EXPECT_EQ(buffer[2], std::byte{0});
    EXPECT_TRUE(ReceiveData(fake.drive, Read10(Lba{16}, 1), buffer, reply));
    EXPECT_TRUE(SendData(fake.drive, ModeSelect10(2), std::span(buffer, 2)));
    EXPECT_TRUE(SendData(fake.drive, Write10(Lba{16}, 1), buffer));
    fake.answer = [](const auto&) { return Refused({2, 0x3A, 0}); };
    EXPECT_FALSE(SendPlain(fake.drive, Blank(0, 0, Immed::Yes)));
    fake.answer = [](const auto&) { return DriveAnswer{.error = 5}; };
    EXPECT_FALSE(SendPlain(fake.drive, SetCdSpeed(0xFFFF, 0xFFFF)));
    EXPECT_THAT(
        fake.lines(),
        ElementsAre(u"CDB=43000000000001000400", u"In=ABCD", u"CDB=28000000001000000100", u"CDB=55100000000000000200",
                    u"Out=ABCD", u"CDB=2A000000001000000100", u"CDB=A11000000000000000000000",
                    u"Sense=700002000000000A000000003A0000000000", u"CDB=BB00FFFFFFFF000000000000", u"C3 ERROR[5]"));
}

TEST(SendCommand, HalvesTheTimeoutByTheReadErrorStreak) {
    FakeDrive fake;
    for (const std::uint32_t expected : {100, 50, 25, 12, 6, 3, 1, 1}) {
        EXPECT_TRUE(SendPlain(fake.drive, SetCdSpeed(1, 1)));
        EXPECT_EQ(fake.sent.back().timeoutSeconds, expected);
        ++fake.drive.record->readErrorStreak;
    }
}

TEST(DriveStatusTable, DrivesBeyondTheLastSlotShareOne) {
    std::vector<DriveRecord> records(DriveStatusTable::kSlots + 2);
    DriveStatusTable table;
    for (DriveRecord& record : records) table.enter({&record});
    table.of({&records[0]}).errorCode = 1;
    table.of({&records[33]}).errorCode = 2;
    EXPECT_EQ(table.of({&records[32]}).errorCode, 2u);
    table.leave({&records[0]});
    table.enter({&records[33]});
    EXPECT_EQ(table.of({&records[33]}).errorCode, 0u) << "a slot starts clean";
}

}  // namespace
}  // namespace tovlark
