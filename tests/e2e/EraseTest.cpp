#include <gmock/gmock.h>

#include "simdrive/DriveFixture.h"
#include "simdrive/SimulatedDrive.h"
#include "support/RunProgram.h"

namespace tovlark {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kFailed = 255;

/// Discs in a simulated drive F:, erased by command.
class Erase : public testing::Test {
protected:
    void SetUp() override {
        if (TestingWindowsPrograms()) GTEST_SKIP() << "the letters are in the registry there";
    }
    /// Puts a disc with data into the drive.
    void insert(Medium medium) {
        LoadedDrive writer(medium);
        EXPECT_EQ(writer.select(0, 5), 0u);
        EXPECT_EQ(writer.write(0, 16, 'x'), 0u);
        EXPECT_EQ(writer.synchronize(), 0u);
        LoadDisc(writer.drive, nullptr);
        std::filesystem::copy_file(writer.path(), folder_ / "a.tvdisc",
                                   std::filesystem::copy_options::overwrite_existing);
        DriveDescription description;
        description.disc = u"a.tvdisc";
        EXPECT_FALSE(WriteDriveDescription((folder_ / "drive").u16string(), description).failed());
        folder_.write("tovlark/tovlark.ini", "[Drives]\nF=sim:" + (folder_ / "drive").string() + "\n");
    }
    bool isBlank() const {
        Disc disc;
        SystemError error;
        EXPECT_EQ(disc.open((folder_ / "a.tvdisc").u16string(), error), DiscFault::None);
        return disc.state.isBlank();
    }
    ProgramEnd erase(std::vector<std::string> switches, std::string input = {}) {
        switches.insert(switches.begin(), {"erase-disc", "F:"});
        return RunProgram({.words = OurProgram("tvcmd", switches),
                           .input = std::move(input),
                           .environment = {{"XDG_CONFIG_HOME", folder_.path()}}});
    }

    TempFolder folder_;
};

TEST_F(Erase, ADvdRwAfterTheQuestion) {
    insert(Medium::DvdRwSequential);
    ProgramEnd end = erase({}, "no\n");
    EXPECT_EQ(end.status, kFailed);
    EXPECT_THAT(end.output, HasSubstr("Media detected: DVD-RW Total 39MB, Free 39MB\r\n"
                                      "Erasing method: quick erase\r\n"
                                      "Warning: All data in the disc will be erased!\r\n"
                                      "Do you want to erase it now? (Yes/No):"));
    EXPECT_THAT(end.output, EndsWith("The operation has been canceled.\r\n"));
    EXPECT_FALSE(isBlank());

    end = erase({"-y", "-full-erase"});
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.output, HasSubstr("Erasing method: full erase\r\n"));
    EXPECT_THAT(end.output, EndsWith("  100%\r\nMedia erased successfully.\r\n"));
    EXPECT_TRUE(isBlank());
}

TEST_F(Erase, RefusesADvdRWithoutAQuestion) {
    insert(Medium::DvdR);
    const ProgramEnd end = erase({});
    EXPECT_EQ(end.status, kFailed);
    EXPECT_THAT(end.output, EndsWith("Erasing media...\r\nDVD-R cannot be erased.\r\n"));
    EXPECT_FALSE(isBlank());
}

}  // namespace
}  // namespace tovlark
