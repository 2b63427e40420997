#include <filesystem>

#include "simdrive/DriveFixture.h"
#include "simdrive/SimulatedDrive.h"

namespace tovlark {

namespace {

std::uint8_t Send(DiscDevice& device, std::initializer_list<int> cdb, Bytes& data) {
    std::vector<std::byte> block;
    for (const int byte : cdb) block.push_back(static_cast<std::byte>(byte));
    PassThrough command{.cdb = block,
                        .direction = data.empty() ? DataDirection::None : DataDirection::Out,
                        .data = data.data(),
                        .dataBytes = static_cast<std::uint32_t>(data.size()),
                        .sense = {}};
    EXPECT_FALSE(device.send(device.self, command).failed());
    return command.scsiStatus;
}

TEST(SimulatedDrive, IsBusyForOthersAndKeepsWhatWasSynchronised) {
    const TempFolder folder;
    const Text path = (folder / "f.drive").u16string();
    StillTime time;
    DiscDevice device, second;
    EXPECT_TRUE(IsNotFound(OpenSimulatedDrive(path, time.clock, device).error));
    DriveDescription description;
    description.disc = u"a.tvdisc";
    description.log = u"log.txt";
    folder.write("long.drive", "[Drive]\n" + std::string(70000, ';'));
    EXPECT_TRUE(WriteDriveDescription((folder / "long.drive").u16string(), description).failed());
    EXPECT_EQ(std::filesystem::file_size(folder / "long.drive"), 70008u) << "nothing is cut off";
    ASSERT_FALSE(WriteDriveDescription(path, description).failed());
    EXPECT_TRUE(OpenSimulatedDrive(path, time.clock, device).failed()) << "there is no such disc";
    ASSERT_FALSE(Disc::create((folder / "a.tvdisc").u16string(), *FindRules(Medium::DvdPlusR), 1000).failed());
    ASSERT_FALSE(OpenSimulatedDrive(path, time.clock, device).failed());
    EXPECT_TRUE(IsLockedElsewhere(OpenSimulatedDrive(path, time.clock, second).error));

    Bytes data(2048 * 16, std::byte{'a'}), none;
    ASSERT_EQ(Send(device, {0x2A, 0, 0, 0, 0, 0, 0, 0, 16, 0}, data), 0);
    ASSERT_EQ(Send(device, {0x35, 0, 0, 0, 0, 0, 0, 0, 0, 0}, none), 0);
    ASSERT_EQ(Send(device, {0x2A, 0, 0, 0, 0, 16, 0, 0, 16, 0}, data), 0);
    // What the disc file holds at this moment is what a killed process leaves.
    std::error_code locked;
    std::filesystem::copy_file(folder / "a.tvdisc", folder / "killed.tvdisc", locked);
    device.close(device.self);
    if (locked) GTEST_SKIP() << "this system's locks keep readers out, too";
    Disc disc;
    SystemError error;
    ASSERT_EQ(disc.open((folder / "killed.tvdisc").u16string(), error), DiscFault::None);
    EXPECT_EQ(disc.state.tracks.at(0).next, 16);
    EXPECT_EQ(folder.read("log.txt"),
              "2A 00 00 00 00 00 00 00 10 00\n35 00 00 00 00 00 00 00 00 00\n"
              "2A 00 00 00 00 10 00 00 10 00\n");
}

TEST(SimulatedDrive, TellsOfADiscThatWasChangedWhileNobodyUsedIt) {
    const TempFolder folder;
    const Text path = (folder / "f.drive").u16string();
    for (const char* disc : {"a.tvdisc", "b.tvdisc"})
        ASSERT_FALSE(Disc::create((folder / disc).u16string(), *FindRules(Medium::DvdPlusR), 1000).failed());
    const auto firstStatus = [&] {
        StillTime time;
        DiscDevice device;
        Bytes none;
        EXPECT_FALSE(OpenSimulatedDrive(path, time.clock, device).failed());
        const std::uint8_t status = Send(device, {0x00, 0, 0, 0, 0, 0}, none);
        device.close(device.self);
        return status;
    };
    const struct {
        const Text disc;
        bool usesUnasked;  // opened and closed without a command
        int status;
    } uses[] = {{u"a.tvdisc", false, 0}, {u"a.tvdisc", true, 0}, {u"b.tvdisc", true, 2},
                {u"b.tvdisc", false, 0}, {u"", false, 2},        {u"b.tvdisc", false, 2}};
    for (const auto& use : uses) {
        DriveDescription description;
        static_cast<void>(ReadDriveDescription(path, description).failed());
        description.disc = use.disc;
        ASSERT_FALSE(WriteDriveDescription(path, description).failed());
        if (use.usesUnasked) {
            StillTime time;
            DiscDevice device;
            ASSERT_FALSE(OpenSimulatedDrive(path, time.clock, device).failed());
            device.close(device.self);
        }
        EXPECT_EQ(firstStatus(), use.status) << ToUtf8(use.disc);
    }
}

TEST(SimulatedDrive, KeepsHowOftenItsBufferRanEmpty) {
    const TempFolder folder;
    const Text path = (folder / "f.drive").u16string();
    ASSERT_FALSE(Disc::create((folder / "a.tvdisc").u16string(), *FindRules(Medium::DvdPlusR), 1000).failed());
    DriveDescription description;
    description.disc = u"a.tvdisc";
    description.isRealTime = true;
    ASSERT_FALSE(WriteDriveDescription(path, description).failed());
    for (const std::uint32_t after : {1u, 2u}) {
        StillTime time;
        DiscDevice device;
        ASSERT_FALSE(OpenSimulatedDrive(path, time.clock, device).failed());
        Bytes data(2048 * 16, std::byte{'a'});
        const int first = static_cast<int>(after - 1) * 32;
        ASSERT_EQ(Send(device, {0x2A, 0, 0, 0, 0, first, 0, 0, 16, 0}, data), 0);
        time.now += 60000;
        ASSERT_EQ(Send(device, {0x2A, 0, 0, 0, 0, first + 16, 0, 0, 16, 0}, data), 0);
        device.close(device.self);
        ASSERT_FALSE(ReadDriveDescription(path, description).failed());
        EXPECT_EQ(description.underruns, after);
    }
}

}  // namespace

}  // namespace tovlark
