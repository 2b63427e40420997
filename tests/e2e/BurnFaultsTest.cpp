// Burns that other programs judge, and burns that are cut off, by command on a simulated drive.
#include <csignal>
#include <gmock/gmock.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr int kCancelled = 254;

class BurnOnto : public testing::Test {
protected:
    void SetUp() override {
        if (TestingWindowsPrograms()) GTEST_SKIP() << "the letters are in the registry there";
        std::filesystem::create_directories(folder_ / "run");
        std::filesystem::permissions(folder_ / "run", std::filesystem::perms::owner_all);
        folder_.write("files/whole.bin", std::string(400000, 'w'));
        folder_.write("files/deep/more.txt", "more");
        run("tvcmd", {"create", "-o", folder_ / "x.iso", "-udf", "on", "-add", folder_ / "files/.", "/"});
        run("tvdrive", {"add", "F:"});
    }
    void TearDown() override {
        if (TestingWindowsPrograms()) return;
        EXPECT_TRUE(std::filesystem::is_empty(folder_ / "run/tovlark"));
    }
    ProgramStart startOf(const std::string& program, const std::vector<std::string>& words) const {
        return {.words = OurProgram(program, words),
                .environment = {{"XDG_CONFIG_HOME", folder_.path()}, {"XDG_RUNTIME_DIR", folder_ / "run"}}};
    }
    ProgramEnd run(const std::string& program, const std::vector<std::string>& words, int status = 0) const {
        ProgramEnd end = RunProgram(startOf(program, words));
        EXPECT_EQ(end.status, status) << words[0] << end.output << end.errors;
        return end;
    }
    void insertNew(const std::string& media, const std::string& blocks = "2000") const {
        run("tvdrive", {"new", folder_ / "a.tvdisc", "--media", media, "--blocks", blocks, "-y"});
        run("tvdrive", {"insert", "F:", folder_ / "a.tvdisc"});
    }
    void removeDisc() const { run("tvdrive", {"eject", "F:"}); }

    TempFolder folder_;
};

/// The data of raw sectors of mode 1 (ECMA-130 14).
std::string DataOf(const std::string& raw) {
    std::string data;
    for (std::size_t sector = 0; sector + 2352 <= raw.size(); sector += 2352) data += raw.substr(sector + 16, 2048);
    return data;
}

TEST_F(BurnOnto, DiscsThatOtherProgramsRead) {
    for (const char* program : {"xorriso", "7z"})
        if (RunProgram({.words = {"sh", "-c", std::string("command -v ") + program}}).status != 0)
            GTEST_SKIP() << program << " is missing";
    const std::string image = folder_.read("x.iso");
    for (const std::string media : {"DVD+RW", "BD-R", "CD-R"}) {
        SCOPED_TRACE(media);
        insertNew(media);
        run("tvcmd", {"burn-image", folder_ / "x.iso", "F:"});
        removeDisc();
        const bool isCd = media == "CD-R";
        run("tvdrive", {"export", "-y", folder_ / "a.tvdisc", folder_ / (isCd ? "out.bin" : "out.iso")});
        if (isCd) {
            const std::string raw = folder_.read("out.bin");
            folder_.write("out.iso", raw.starts_with(image.substr(0, 2048)) ? raw : DataOf(raw));
        }
        const std::string bytes = folder_.read("out.iso");
        EXPECT_TRUE(bytes.starts_with(image));
        EXPECT_EQ(bytes.find_first_not_of('\0', image.size()), std::string::npos);
        const ProgramEnd list =
            RunProgram({.words = {"xorriso", "-indev", folder_ / "out.iso", "-find", "/", "-type", "f"}});
        EXPECT_EQ(list.status, 0) << list.errors;
        EXPECT_THAT(list.output, HasSubstr("'/deep/more.txt'"));
        EXPECT_THAT(list.output, HasSubstr("'/whole.bin'"));
        const ProgramEnd test = RunProgram({.words = {"7z", "t", folder_ / "out.iso"}});
        EXPECT_EQ(test.status, 0) << test.output;
        EXPECT_THAT(test.output, HasSubstr("Everything is Ok"));
    }
}

TEST_F(BurnOnto, WhatThePowerWasTakenFromIsUsableOnceErased) {
    for (const char* media : {"CD-RW", "DVD-RW", "DVD+RW", "DVD-RAM", "BD-RE"}) {
        SCOPED_TRACE(media);
        insertNew(media);
        run("tvdrive", {"fault", "F:", "--power-loss", "5"});
        const ProgramEnd end = RunProgram(startOf("tvcmd", {"burn-image", folder_ / "x.iso", "F:"}));
        EXPECT_NE(end.status, 0);
        EXPECT_THAT(end.output, Not(HasSubstr("Burning completed")));
        run("tvdrive", {"fault", "F:", "--clear"});
        run("tvcmd", {"erase-disc", "F:", "-y"});
        EXPECT_THAT(run("tvcmd", {"burn-image", folder_ / "x.iso", "F:", "-verify"}).output,
                    EndsWith("Verifying media completed successfully.\r\n"));
        removeDisc();
    }
}

TEST_F(BurnOnto, ACancelledBurnSaysWhatBecameOfTheDisc) {
    // Far from its end when the signal comes, and sparse.
    const std::filesystem::path large = folder_.write("large.iso", "x");
    std::filesystem::resize_file(large, std::uintmax_t{4} << 30);
    static constexpr struct {
        const char *media, *state;
        bool isRewritable;
    } kCases[] = {
        {"DVD+R", "The disc was left open: more can be written to it.", false},
        {"DVD+RW", "What was written cannot be read; a disc that is rewritable can be erased.", true},
        {"BD-RE", "What was written cannot be read; a disc that is rewritable can be erased.", true},
    };
    for (const auto& [media, state, isRewritable] : kCases) {
        SCOPED_TRACE(media);
        insertNew(media, "2200000");
        RunningProgram program(startOf("tvcmd", {"burn-image", large, "F:", "-verify"}));
        ASSERT_TRUE(program.waitForOutput("    1%")) << program.soFar().output;
        program.signal(SIGINT);
        const ProgramEnd end = program.finish();
        EXPECT_EQ(end.status, kCancelled);
        EXPECT_THAT(end.output, HasSubstr("The operation has been canceled.\r\n"));
        EXPECT_THAT(end.output, HasSubstr(std::string("\r\n") + state + "\r\nBurning failed\r\n"));
        if (isRewritable) run("tvcmd", {"burn-image", folder_ / "x.iso", "F:", "-verify", "-y"});
        removeDisc();
    }
}

}  // namespace
}  // namespace tovlark
