// Burning by command, on a simulated drive.
#include <gmock/gmock.h>
#include <sstream>

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
    EXPECT_THAT(run("tvcmd", {"burn-image", folder_ / "x.iso", "F:", "-label", "STRAIGHT"}).output,
                HasSubstr("x.iso is an image and is burned as it is"));
    EXPECT_EQ(run("tvdrive", {"export", folder_ / "a.tvdisc", folder_ / "out.iso"}).status, 0);
    const ProgramEnd list = run("tvcmd", {"list", folder_ / "out.iso", "/", "-r"});
    for (const char* path : {"/deep", "hurt.bin", "/more/deep", "whole.bin"}) EXPECT_THAT(list.output, HasSubstr(path));
    EXPECT_EQ(run("tvcmd", {"extract", folder_ / "out.iso", "/", "-od", folder_ / "back"}).status, 0);
    EXPECT_TRUE(folder_.read("back/deep/hurt.bin") == std::string(200000, 'h'));
    EXPECT_TRUE(folder_.read("back/whole.bin") == std::string(200000, 'w'));
}

TEST_F(Burn, AnAudioDiscIsWhatOtherProgramsTakeItFor) {
    for (const char* program : {"cdrdao", "cuebreakpoints"})
        if (RunProgram({.words = {"sh", "-c", std::string("command -v ") + program}}).status != 0)
            GTEST_SKIP() << program << " is missing";
    constexpr std::size_t kSector = 2352, kGap = 150 * kSector;
    std::string samples;
    for (int sector = 0; sector < 1200; ++sector) samples += std::string(kSector, static_cast<char>(1 + sector % 100));
    folder_.write("a.bin", samples);
    folder_.write(
        "a.cue",
        "CATALOG 1234567890123\nTITLE \"Disc\"\nPERFORMER \"All\"\nFILE \"a.bin\" BINARY\n"
        "  TRACK 01 AUDIO\n    TITLE \"One\"\n    ISRC ABCDE1234567\n    INDEX 00 00:00:00\n    INDEX 01 00:00:32\n"
        "    INDEX 02 00:02:10\n"
        "  TRACK 02 AUDIO\n    TITLE \"Two\"\n    PREGAP 00:02:00\n    INDEX 01 00:05:25\n"
        "  TRACK 03 AUDIO\n    ISRC ABCDE7654321\n    INDEX 00 00:10:50\n    INDEX 01 00:11:00\n");
    EXPECT_EQ(run("tvdrive", {"eject", "F:"}).status, 0);
    EXPECT_EQ(run("tvdrive", {"new", folder_ / "cd.tvdisc", "--media", "CD-R"}).status, 0);
    EXPECT_EQ(run("tvdrive", {"insert", "F:", folder_ / "cd.tvdisc"}).status, 0);
    const ProgramEnd end = run("tvcmd", {"burn-image", folder_ / "a.cue", "F:", "-verify"});
    EXPECT_EQ(end.status, 0) << end.output;
    EXPECT_THAT(end.output, HasSubstr("Writing Audio CD-Text...\r\n"));
    EXPECT_EQ(run("tvdrive", {"eject", "F:"}).status, 0);
    EXPECT_EQ(run("tvdrive", {"export", folder_ / "cd.tvdisc", folder_ / "out.bin"}).status, 0);

    const std::string bytes = folder_.read("out.bin"), gap(kGap, '\0');
    const std::size_t first = 400 * kSector;
    ASSERT_GE(bytes.size(), samples.size() + kGap);
    EXPECT_TRUE(bytes.starts_with(samples.substr(0, first) + gap + samples.substr(first)));
    EXPECT_EQ(bytes.find_first_not_of('\0', samples.size() + kGap), std::string::npos) << "the last chunk's rest";

    const ProgramEnd toc = RunProgram({.words = {"cdrdao", "show-toc", "out.cue"}, .folder = folder_.path()});
    EXPECT_EQ(toc.status, 0) << toc.errors;
    std::string facts;  // a line each, without what is alike in all tracks
    std::istringstream lines(toc.output + toc.errors);
    for (std::string line; std::getline(lines, line);)
        for (const char* fact : {"CATALOG", "TRACK", "ISRC", "PREGAP", "START"})
            if (const auto at = line.find(fact); at != std::string::npos && at < 11) facts += line.substr(at) + "\n";
    EXPECT_EQ(facts,
              "CATALOG NUMBER: 1234567890123\n"
              "TRACK  1  Mode AUDIO:\nISRC AB CDE 12 34567\nPREGAP 00:00:32(    32)\nSTART  00:00:32(    32)\n"
              "TRACK  2  Mode AUDIO:\nPREGAP 00:02:00(   150)\nSTART  00:07:25(   550)\n"
              "TRACK  3  Mode AUDIO:\nISRC AB CDE 76 54321\nPREGAP 00:00:25(    25)\nSTART  00:13:00(   975)\n");
    EXPECT_THAT(folder_.read("out.cue"), HasSubstr("INDEX 02 00:02:10")) << "which cdrdao counts from INDEX 01 on";
    EXPECT_EQ(RunProgram({.words = {"cuebreakpoints", folder_ / "out.cue"}}).output, "0:07.25\n0:13.00\n");
    EXPECT_EQ(RunProgram({.words = {"cuebreakpoints", "--prepend-gaps", folder_ / "out.cue"}}).output,
              "0:05.25\n0:12.50\n");
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
