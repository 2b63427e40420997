// tvdrive as people and scripts use it, on simulated drives.
#include <csignal>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Json = nlohmann::json;

constexpr int kFailed = 255, kCancelled = 254;
constexpr std::size_t kBlock = 2048;

/// A copy of the program with settings of its own.
class DriveTool : public testing::Test {
protected:
    DriveTool() {
        std::filesystem::create_directory(programs_);
        std::filesystem::copy_file(ProgramFile("tvdrive"), ProgramFile("tvdrive", programs_));
        work_.write("bin/tovlark.ini", "[Settings]\nPortableVersion=1\n");
    }
    ProgramEnd run(const std::vector<std::string>& words, const std::string& input = {}) const {
        return RunProgram({.words = OurProgram("tvdrive", words, programs_),
                           .input = input,
                           .environment = environment_,
                           .folder = work_.path()});
    }
    /// What a run that goes well prints.
    std::string done(const std::vector<std::string>& words) const {
        const ProgramEnd end = run(words);
        EXPECT_EQ(end.status, 0) << testing::PrintToString(words) << end.output << end.errors;
        EXPECT_THAT(end.errors, IsEmpty());
        return end.output;
    }
    /// Why a run fails; facts are not printed then.
    std::string refused(const std::vector<std::string>& words) const {
        const ProgramEnd end = run(words);
        EXPECT_EQ(end.status, kFailed) << testing::PrintToString(words);
        EXPECT_THAT(end.output, IsEmpty()) << testing::PrintToString(words);
        return end.errors;
    }
    Json json(std::vector<std::string> words) const {
        words.push_back("--json");
        return Json::parse(done(words));
    }
    void makeDrive(const std::string& medium) const {
        done({"new", "a.tvdisc", "--media", medium});
        done({"add", "F:"});
        done({"insert", "F:", "a.tvdisc"});
    }

    TempFolder work_;
    std::filesystem::path programs_ = work_ / "bin";
    std::map<std::string, std::string> environment_{{"XDG_CONFIG_HOME", work_ / "config"}};
};

TEST_F(DriveTool, AddsInsertsShowsAndTakesAway) {
    EXPECT_THAT(done({"add", "f:", "--model", "REHEARSAL", "--speed", "real"}), HasSubstr("Drive F: is sim:"));
    Json drives = json({"list"});
    ASSERT_EQ(drives.size(), 1u);
    EXPECT_EQ(drives[0]["letter"], "F");
    EXPECT_THAT(drives[0]["drive"].get<std::string>(), EndsWith(" REHEARSAL"));
    EXPECT_EQ(drives[0]["medium"], "No disc");

    EXPECT_THAT(done({"new", "a.tvdisc", "--media", "dvd+r", "--blocks", "5000"}), HasSubstr("blank DVD+R"));
    EXPECT_LT(std::filesystem::file_size(work_ / "a.tvdisc"), 1u << 20) << "as large as the disc";
    EXPECT_THAT(done({"insert", "F:", "a.tvdisc"}), HasSubstr("a.tvdisc"));
    const Json info = json({"info", "F:"});
    EXPECT_EQ(info["product"], "REHEARSAL");
    EXPECT_EQ(info["medium"], (Json{{"code", 21}, {"name", "DVD+R"}, {"blocks", 5000}, {"used", 0}, {"free", 5000}}));
    EXPECT_EQ(info["disc"]["status"], "blank");
    EXPECT_THAT(done({"info", "F:"}), HasSubstr("DVD+R"));
    EXPECT_THAT(done({"list"}), HasSubstr("DVD+R"));

    EXPECT_THAT(refused({"insert", "F:", "a.tvdisc"}), HasSubstr("tvdrive eject F:")) << "there is one in it";
    done({"eject", "F:"});
    EXPECT_EQ(json({"info", "F:"})["medium"]["name"], "No disc");
    done({"insert", "F:", "a.tvdisc"});
    EXPECT_THAT(refused({"add", "F:"}), HasSubstr("tvdrive remove F:"));
    done({"remove", "F:"});
    EXPECT_EQ(json({"list"}), Json::array());
    EXPECT_TRUE(std::filesystem::exists(work_ / "a.tvdisc")) << "the disc is the user's";
    EXPECT_THAT(refused({"info", "F:"}), HasSubstr("There is no optical drive F:."));
    done({"add", "F:"});
    EXPECT_EQ(json({"info", "F:"})["medium"]["name"], "No disc") << "the drive of that letter before had one";
}

TEST_F(DriveTool, SaysWhatIsWrong) {
    makeDrive("CD-R");
    work_.write("text", "no disc");
    work_.write("cut.tvdisc", std::string("TVDISC\r\n\2\0\0\0", 12) + std::string(100, ' '));
    const struct {
        std::vector<std::string> words;
        const char* reason;
    } rows[] = {
        {{"new", "b.tvdisc", "--media", "DVD+Q"}, "DVD-RW (restricted overwrite)"},
        {{"new", "b.tvdisc", "--media", "CD-ROM"}, "\"CD-ROM\""},
        {{"new", "b.tvdisc", "--media", "CD-R", "--blocks", "359850"}, "359"},
        {{"new", "b.tvdisc", "--media", "CD-R", "--blocks", "0"}, "range 1 to 4294967295"},
        {{"new", "b.tvdisc"}, "--media"},
        {{"fault", "F:", "--power-loss", "0"}, "range 1 to 4294967295"},
        {{"new", "gone/b.tvdisc", "--media", "CD-R"}, "gone"},
        {{"new", "bin", "--media", "CD-R"}, "bin"},
        {{"add", "1:"}, "1:"},
        {{"add", "F"}, "F is no letter of a drive"},
        {{"add", "G:", "--speed", "slow"}, "slow"},
        {{"insert", "F:", "text"}, "tvdrive eject F:"},
        {{"insert", "G:", "text"}, "G:"},
        {{"map", "G:", "sim:text"}, "which is not an optical drive"},
        {{"map", "G:", "sim:gone"}, "gone"},
        {{"map", "G:", "/dev/null"}, "/dev/null"},
        {{"remove", "G:"}, "G:"},
        {{"export", "a.tvdisc", "b.img"}, "b.img"},
        {{"frobnicate"}, "frobnicate"},
        {{"info"}, "LETTER"},
    };
    for (const auto& row : rows) EXPECT_THAT(refused(row.words), HasSubstr(row.reason)) << row.words[0];
    EXPECT_EQ(json({"list"}).size(), 1u) << "a refused letter stayed";
    EXPECT_FALSE(std::filesystem::exists(work_ / "b.tvdisc"));
    done({"eject", "F:"});
    EXPECT_THAT(refused({"insert", "F:", "text"}), HasSubstr("neither a disc file nor an image"));
    EXPECT_THAT(refused({"insert", "F:", "cut.tvdisc"}), HasSubstr("damaged"));
    EXPECT_THAT(refused({"insert", "F:", "a.tvdisc", "--media", "BD-ROM"}), HasSubstr("Leave --media out"));
    EXPECT_THAT(refused({"insert", "F:", "gone"}), HasSubstr("gone"));
}

// A disc that holds data is not made blank by a slip.
TEST_F(DriveTool, AsksBeforeItReplacesAFile) {
    work_.write("a.tvdisc", "mine");
    const std::vector<std::string> words{"new", "a.tvdisc", "--media", "CD-R"};
    EXPECT_EQ(run(words).status, kCancelled) << "nobody answers";
    EXPECT_EQ(run(words, "no\n").status, kFailed);
    EXPECT_EQ(work_.read("a.tvdisc"), "mine");
    EXPECT_EQ(run(words, "yes\n").status, 0);
    EXPECT_EQ(work_.read("a.tvdisc").substr(0, 6), "TVDISC");
    work_.write("image", std::string(4 * kBlock, 'i'));
    work_.write("out.iso", "mine");
    EXPECT_EQ(run({"export", "a.tvdisc", "out.iso"}, "no\n").status, kFailed);
    EXPECT_EQ(work_.read("out.iso"), "mine");
    EXPECT_EQ(run({"new", "a.tvdisc", "--media", "DVD-RAM", "-y"}).status, 0);
}

TEST_F(DriveTool, PlantsFaults) {
    makeDrive("DVD+R");
    done({"fault", "F:", "--read-error", "100-199", "--read-error", "7", "--refuse", "0x5b"});
    done({"fault", "F:", "--busy", "transient", "--after", "5", "--power-loss", "3"});
    EXPECT_EQ(json({"info", "F:"})["faults"],
              (Json{{"ReadErrors", "100-199,7"}, {"Busy", "transient,5"}, {"PowerLoss", "3"}, {"Refuse", "5B"}}));
    EXPECT_THAT(done({"fault", "F:", "--clear", "--slow", "1"}),
                AllOf(HasSubstr("SlowBlocks"), Not(HasSubstr("Busy"))));
    EXPECT_EQ(run({"fault", "F:", "--write-error", "9-3"}).status, kFailed);
    EXPECT_EQ(run({"fault", "F:", "--refuse", "100"}).status, kFailed);
    EXPECT_THAT(done({"fault", "F:", "--clear"}), HasSubstr("no planted faults"));
}

TEST_F(DriveTool, ExportsWhatADiscHolds) {
    std::string data;
    for (char fill = 'a'; fill < 'a' + 20; ++fill) data += std::string(kBlock, fill);
    data.replace(16 * kBlock, 6, std::string("\1CD001"));  // a volume descriptor makes it an image
    work_.write("x.iso", data);
    done({"export", "x.iso", "y.iso"});
    EXPECT_EQ(work_.read("y.iso"), data);
    done({"export", "x.iso", "y.bin"});
    const std::string raw = work_.read("y.bin");
    ASSERT_EQ(raw.size(), 20u * 2352);
    EXPECT_EQ(raw.substr(16, kBlock), data.substr(0, kBlock));
    EXPECT_THAT(work_.read("y.cue"), HasSubstr("MODE1/2352"));

    // The sheet is what a drive takes; an image of it holds the same blocks.
    done({"add", "F:"});
    done({"insert", "F:", "y.cue"});
    EXPECT_EQ(json({"info", "F:"})["medium"]["code"], 1);
    done({"export", "y.cue", "z.iso"});
    EXPECT_EQ(work_.read("z.iso"), data);

    work_.write("song.bin", std::string(2352 * 300, 's'));
    work_.write(
        "song.cue",
        "TITLE \"A disc\"\nFILE \"song.bin\" BINARY\n TRACK 01 AUDIO\n  TITLE \"A song\"\n  INDEX 01 00:00:00\n");
    EXPECT_THAT(refused({"export", "song.cue", "s.iso"}), HasSubstr(".bin"));
    done({"export", "song.cue", "s.bin"});
    EXPECT_EQ(work_.read("s.bin"), work_.read("song.bin"));
    EXPECT_THAT(work_.read("s.cue"), AllOf(HasSubstr("TITLE \"A disc\""), HasSubstr("TITLE \"A song\"")));
    done({"new", "blank.tvdisc", "--media", "CD-R"});
    EXPECT_THAT(refused({"export", "blank.tvdisc", "b.iso"}), HasSubstr("blank.tvdisc"));
}

TEST_F(DriveTool, KeepsALogOfCommandsOnDemand) {
    makeDrive("CD-RW");
    EXPECT_THAT(refused({"log", "F:"}), HasSubstr("--on"));
    done({"log", "F:", "--on"});
    done({"info", "F:"});
    EXPECT_THAT(done({"log", "F:"}), HasSubstr("GET CONFIGURATION"));
    EXPECT_THAT(done({"log", "F:"}), HasSubstr("READ DISC INFORMATION"));
    EXPECT_TRUE(json({"log", "F:"}).is_array());
    done({"log", "F:", "--clear"});
    EXPECT_THAT(done({"log", "F:"}), Not(HasSubstr("GET CONFIGURATION")));
}

/// The drive while `drive_writer` uses it, and after that was killed.
TEST_F(DriveTool, OneProgramAtATimeAndAKilledOneLeavesWhatItSynchronised) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "the writing program is native";
    makeDrive("DVD+R");
    const std::string drive = json({"info", "F:"})["device"].get<std::string>().substr(4);
    RunningProgram writer({.words = {OurProgramFolder() / "drive_writer", drive}, .folder = work_.path()});
    ASSERT_TRUE(writer.waitForOutput("written")) << writer.soFar().errors;
    for (const std::vector<std::string>& words : {std::vector<std::string>{"info", "F:"},
                                                  {"eject", "F:"},
                                                  {"export", "a.tvdisc", "x.iso"},
                                                  {"remove", "F:"},
                                                  {"new", "a.tvdisc", "--media", "CD-R", "-y"}})
        EXPECT_THAT(refused(words), HasSubstr("used by another program")) << words[0];
    const ProgramEnd list = run({"list"});
    EXPECT_EQ(list.status, 0) << "one busy drive does not hide the others";
    EXPECT_THAT(list.output, HasSubstr("used by another program"));
    writer.signal(SIGKILL);
    EXPECT_EQ(writer.finish().status, 128 + SIGKILL);

    const Json tracks = json({"info", "F:"})["disc"]["tracks"];
    ASSERT_EQ(tracks.size(), 1u);
    EXPECT_EQ(tracks[0]["next"], 32);
    done({"export", "a.tvdisc", "x.iso"});
    EXPECT_EQ(work_.read("x.iso"), std::string(32 * kBlock, 'w'));
}

}  // namespace
}  // namespace tovlark
