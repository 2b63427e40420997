#include "platform/DeviceFailed.h"
#include "simdrive/DriveFixture.h"
#include "simdrive/SimulatedDrive.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kOk = 0;

DriveFaults Everything() {
    return {.readErrors = {{5, 5}, {100, 199}},
            .slowBlocks = {{7, 8}},
            .writeErrors = {{64, 64}},
            .busy = BusyFault::Transient,
            .busyAfter = 2,
            .transportError = 3,
            .powerLoss = 4,
            .refusedOpcodes = {0x2A, 0x05}};
}

TEST(Faults, AreKeptWithTheDrive) {
    const TempFolder folder;
    const Text path = (folder / "f.drive").u16string();
    DriveDescription description, read;
    description.faults = Everything();
    ASSERT_FALSE(WriteDriveDescription(path, description).failed());
    ASSERT_FALSE(ReadDriveDescription(path, read).failed());
    EXPECT_EQ(read.faults, Everything());
    description.faults = {};
    ASSERT_FALSE(WriteDriveDescription(path, description).failed());
    ASSERT_FALSE(ReadDriveDescription(path, read).failed());
    EXPECT_EQ(read.faults, DriveFaults());
    folder.write("bad.drive", "[Drive]\nReadErrors=9-5,x,-1,3-,7\nBusy=sometimes\nRefuse=100,A1\nPowerLoss=-3\n");
    ASSERT_FALSE(ReadDriveDescription((folder / "bad.drive").u16string(), read).failed());
    EXPECT_EQ(read.faults, (DriveFaults{.readErrors = {{7, 7}}, .refusedOpcodes = {0xA1}}));
}

TEST(Faults, BlocksAreUnreadableSlowOrUnwritable) {
    LoadedDrive on(Medium::DvdPlusR);
    ASSERT_EQ(on.write(0, 32, 'a'), kOk);
    on.drive.faults.readErrors = {{20, 21}};
    on.drive.faults.slowBlocks = {{4, 5}, {12, 12}};
    on.drive.faults.writeErrors = {{40, 40}};
    Bytes data(std::size_t{32} * 2048);
    EXPECT_EQ(on.send({0x28, 0, 0, 0, 0, 16, 0, 0, 16}, data, DataDirection::In), 0x031100u);
    EXPECT_EQ(data.size(), std::size_t{4} * 2048) << "what comes before goes over";
    EXPECT_EQ(on.send({0x2F, 0, 0, 0, 0, 16, 0, 0, 16}), 0x031100u);
    EXPECT_EQ(on.read(22), std::uint32_t{'a'});
    EXPECT_EQ(on.time.now, 0u);
    data.assign(std::size_t{16} * 2048, std::byte{0});
    EXPECT_EQ(on.send({0x28, 0, 0, 0, 0, 0, 0, 0, 16}, data, DataDirection::In), kOk);
    EXPECT_EQ(on.time.now, 3u * kSlowMilliseconds);
    EXPECT_EQ(on.write(32, 16, 'b'), 0x030C00u);
    EXPECT_EQ(on.nextWritable(1), 32u);
}

TEST(Faults, DefectManagementReplacesWhatCannotBeWritten) {
    LoadedDrive on(Medium::BdRe);
    on.drive.faults.writeErrors = {{40, 40}};
    ASSERT_EQ(on.format(0xFFFFFFFF, 0x30), kOk);
    EXPECT_EQ(on.write(32, 32, 'b'), kOk);
    on.drive.faults.writeErrors = {{40, 40}, {64, 32 * 8 - 1}};
    EXPECT_EQ(on.write(32 * 5, 32, 'b'), kOk);
    EXPECT_EQ(on.write(32 * 7, 32, 'b'), 0x033200u) << "there are six spare clusters";
    on.drive.faults.writeErrors = {{70, 130}, {40, 40}, {64, 96}};
    EXPECT_EQ(LoadedDrive::be(on.receive({0xAD, 1, 0, 0, 0, 0, 0, 10, 0, 16}, 16), 8, 4), 32u * 2) << "left of six";
    on.drive.faults.writeErrors = {{40, 40}};
    ASSERT_EQ(on.format(0xFFFFFFFF, 0x31), kOk);
    EXPECT_EQ(on.write(32, 32, 'b'), 0x030C00u) << "no spare areas";
    LoadedDrive once(Medium::BdR);
    once.drive.faults.writeErrors = {{40, 40}};
    EXPECT_EQ(once.write(32, 32, 'b'), 0x052102u);
    ASSERT_EQ(once.format(0xFFFFFFFF, 0x32, 0, 1), kOk);
    EXPECT_EQ(once.write(0, 64, 'b'), kOk) << "a BD-R with spare areas";
    EXPECT_EQ(LoadedDrive::be(once.receive({0x46, 2, 0, 0x24, 0, 0, 0, 0, 16}, 16), 10, 1) & 1, 1u) << "says so";
}

TEST(Faults, ADriveIsBusyForAWhileOrForGood) {
    const struct {
        BusyFault kind;
        std::uint32_t sense;
        int answers;
    } cases[] = {
        {BusyFault::Still, 0x020407, 10}, {BusyFault::Transient, 0x020401, 3}, {BusyFault::Forever, 0x020407, 50}};
    for (const auto& one : cases) {
        LoadedDrive on(Medium::DvdPlusR);
        on.drive.faults.busy = one.kind;
        on.drive.faults.busyAfter = 2;
        EXPECT_EQ(on.send({0x00}), kOk);
        EXPECT_EQ(on.send({0x00}), kOk);
        for (int answer = 0; answer < one.answers; ++answer) EXPECT_EQ(on.send({0x00}), one.sense);
        EXPECT_EQ(on.profile(), 0x1Bu) << "what needs no disc is answered";
        EXPECT_EQ(on.send({0x00}), one.kind == BusyFault::Forever ? one.sense : kOk);
    }
}

TEST(Faults, CommandsAreRefusedOrDoNotGetThrough) {
    LoadedDrive on(Medium::DvdPlusR);
    on.drive.faults.refusedOpcodes = {0x5B};
    EXPECT_EQ(on.close(1), 0x052000u);
    on.drive.faults.transportError = on.drive.counts.commands + 2;
    EXPECT_EQ(on.send({0x00}), kOk);
    const std::array<std::byte, 6> block{};
    PassThrough command{.cdb = block, .sense = {}};
    EXPECT_EQ(Execute(on.drive, command), kDeviceFailed);
    EXPECT_FALSE(Execute(on.drive, command).failed());
}

TEST(Faults, PowerLossLeavesHalfAWriteAndTheStateThatWasKept) {
    LoadedDrive on(Medium::DvdPlusR);
    on.drive.faults.powerLoss = 3;
    on.drive.losePower = [](void*) { throw std::runtime_error("power"); };
    ASSERT_EQ(on.write(0, 16, 'a'), kOk);
    ASSERT_EQ(on.synchronize(), kOk);
    ASSERT_EQ(on.write(16, 16, 'b'), kOk);
    EXPECT_THROW(on.write(32, 16, 'c'), std::runtime_error);
    on.drive.faults = {};
    on.drive.disc.reset();
    on.load(on.path());
    EXPECT_EQ(on.nextWritable(1), 16u);
    EXPECT_EQ(on.read(15), std::uint32_t{'a'});
    EXPECT_EQ(on.write(16, 16, 'd'), kOk);
}

}  // namespace

}  // namespace tovlark
