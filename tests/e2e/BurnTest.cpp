// Burning by command, on a simulated drive.
#include <gmock/gmock.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class Burn : public testing::Test {
protected:
    void SetUp() override {
        if (TestingWindowsPrograms()) GTEST_SKIP() << "the letters are in the registry there";
        std::filesystem::create_directories(folder_ / "files/deep");
        folder_.write("files/whole.bin", std::string(200000, 'w'));
        folder_.write("files/deep/hurt.bin", std::string(200000, 'h'));
        EXPECT_EQ(run("tvcmd", {"create", "-o", folder_ / "x.iso", "-add", folder_ / "files/.", "/"}).status, 0);
        EXPECT_EQ(run("tvdrive", {"new", folder_ / "a.tvdisc", "--media", "DVD+R"}).status, 0);
        EXPECT_EQ(run("tvdrive", {"add", "F:"}).status, 0);
        EXPECT_EQ(run("tvdrive", {"insert", "F:", folder_ / "a.tvdisc"}).status, 0);
    }
    ProgramEnd run(const std::string& program, const std::vector<std::string>& words) const {
        return RunProgram({.words = OurProgram(program, words), .environment = {{"XDG_CONFIG_HOME", folder_.path()}}});
    }
    /// A sector inside the file that is filled with the character.
    std::string sectorOf(char fill) const {
        std::ifstream image(folder_ / "x.iso", std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(image), {}};
        return std::to_string(bytes.find(std::string(4096, fill)) / 2048 + 40);
    }

    TempFolder folder_;
};

TEST_F(Burn, NamesTheFilesOfSectorsThatCannotBeRead) {
    EXPECT_EQ(run("tvdrive", {"fault", "F:", "--read-error", sectorOf('h')}).status, 0);
    for (const char* source : {"x.iso", "files"}) {
        EXPECT_EQ(run("tvdrive", {"eject", "F:"}).status, 0);
        EXPECT_EQ(run("tvdrive", {"new", folder_ / (std::string(source) + ".tvdisc"), "--media", "DVD-R"}).status, 0);
        EXPECT_EQ(run("tvdrive", {"insert", "F:", folder_ / (std::string(source) + ".tvdisc")}).status, 0);
        const ProgramEnd end = run("tvcmd", {"burn-image", folder_ / source, "F:", "-verify"});
        EXPECT_EQ(end.status, 255);
        EXPECT_THAT(end.output, HasSubstr("Burning completed successfully.\r\nVerifying media...\r\n"));
        EXPECT_THAT(end.output, HasSubstr("Files that are damaged on the disc:\r\n  /deep/hurt.bin\r\n"));
        EXPECT_THAT(end.output, Not(HasSubstr("whole.bin")));
        EXPECT_THAT(end.output, EndsWith("Verifying media failed.\r\n"));
    }
}

TEST_F(Burn, TakesAFolderAsItStands) {
    EXPECT_EQ(run("tvcmd", {"burn-image", folder_ / "gone", "F:"}).status, 255);
    const ProgramEnd end = run("tvcmd", {"burn-image", folder_ / "files", "F:", "-verify", "-label", "STRAIGHT", "-udf",
                                         "on", "-add", folder_ / "files/deep", "/more"});
    EXPECT_EQ(end.status, 0) << end.output;
    EXPECT_THAT(end.output, EndsWith("Verifying media completed successfully.\r\n"));
    EXPECT_EQ(run("tvdrive", {"eject", "F:"}).status, 0);
    EXPECT_EQ(run("tvdrive", {"export", folder_ / "a.tvdisc", folder_ / "out.iso"}).status, 0);
    const ProgramEnd list = run("tvcmd", {"list", folder_ / "out.iso", "/", "-r"});
    for (const char* path : {"/deep", "hurt.bin", "/more/deep", "whole.bin"}) EXPECT_THAT(list.output, HasSubstr(path));
    EXPECT_EQ(run("tvcmd", {"extract", folder_ / "out.iso", "/", "-od", folder_ / "back"}).status, 0);
    EXPECT_TRUE(folder_.read("back/deep/hurt.bin") == std::string(200000, 'h'));
    EXPECT_TRUE(folder_.read("back/whole.bin") == std::string(200000, 'w'));
}

TEST_F(Burn, PassesAndIsRefusedOfASimulation) {
    EXPECT_EQ(run("tvset", {"set", "SimulateBurn", "1"}).status, 0);
    const std::vector<std::string> words{"burn-image", folder_ / "x.iso", "F:", "-verify"};
    ProgramEnd end = run("tvcmd", words);
    EXPECT_EQ(end.status, 255);
    EXPECT_THAT(end.output, EndsWith("A simulated burn cannot be verified.\r\n"));
    EXPECT_EQ(run("tvset", {"set", "SimulateBurn", "0"}).status, 0);
    end = run("tvcmd", words);
    EXPECT_EQ(end.status, 0) << end.output;
    EXPECT_THAT(end.output, EndsWith("Verifying media completed successfully.\r\n"));
}

TEST_F(Burn, CopiesAskForTheNextDisc) {
    EXPECT_EQ(run("tvset", {"set", "BurnCopies", "2"}).status, 0);
    ProgramEnd end = RunProgram({.words = OurProgram("tvcmd", {"burn-image", folder_ / "x.iso", "F:"}),
                                 .input = "Cancel\n",
                                 .environment = {{"XDG_CONFIG_HOME", folder_.path()}}});
    EXPECT_NE(end.status, 0);
    EXPECT_THAT(end.output, HasSubstr("Copy 1 of 2\r\nPreparing media...\r\n"));
    EXPECT_THAT(end.output, HasSubstr("Please insert a blank or rewritable disc and retry."));
    EXPECT_THAT(end.output, Not(HasSubstr("Copy 2 of 2")));
    EXPECT_THAT(run("tvdrive", {"list"}).output, Not(HasSubstr("DVD+R"))) << "the tray is open";
}

}  // namespace
}  // namespace tovlark
