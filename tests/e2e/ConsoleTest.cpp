// The console as a user and a script meet it: the front end with the real program behind it.
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using testing::HasSubstr;

constexpr char kBanner[] = "\r\nTovlark Version 6.4\r\n            Type tvcmd -? for help\r\n\r\n";
constexpr int kFailed = 255, kCancelled = 254;

class Console : public testing::Test {
protected:
    ProgramStart start(const std::vector<std::string>& words, const std::string& input = {}) const {
        return {.words = OurProgram("tvcmd", words),
                .input = input,
                .environment = {{"XDG_CONFIG_HOME", folder_.path()}},
                .folder = folder_.path()};
    }
    ProgramEnd run(const std::vector<std::string>& words, const std::string& input = {}) const {
        return RunProgram(start(words, input));
    }

    TempFolder folder_;
};

TEST_F(Console, TellsWhatIsWrongWithACommandLine) {
    struct Case {
        std::vector<std::string> words;
        const char* message;
    };
    const Case cases[] = {
        {{}, "No parameters.\r\n"},
        {{"frobnicate"}, "Unrecognized parameter: frobnicate\r\ntvcmd -? lists the commands and switches.\r\n"},
        {{"automount", "listvd"},
         "Bad parameter: listvd\r\nA line has one command only, and there is one already.\r\n"},
    };
    for (const Case& one : cases) {
        const ProgramEnd end = run(one.words);
        EXPECT_EQ(end.output, std::string(kBanner) + one.message);
        EXPECT_EQ(end.errors, "");
        EXPECT_EQ(end.status, kFailed);
    }
    EXPECT_EQ(run({"automount"}).status, 0);
}

TEST_F(Console, EchoesWordsThatAreNotTextByteForByte) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "words are UTF-16 there";
    EXPECT_THAT(run({"\xFF\xE4"}).output,
                testing::StartsWith(std::string(kBanner) + "Unrecognized parameter: \xFF\xE4\r\n"));
}

TEST_F(Console, StartedAloneItSaysHowToStartIt) {
    const ProgramEnd end = RunProgram({.words = OurProgram("tovlark", {"automount"})});
    EXPECT_THAT(end.errors, HasSubstr("tvcmd -?"));
    EXPECT_EQ(end.output, "");
    EXPECT_EQ(end.status, kFailed);
}

TEST_F(Console, AnswersAPromptFromStandardInput) {
    folder_.write("tree/a.txt", "content");
    folder_.write("x.iso", "old");
    const std::vector<std::string> words = {"create", "-o", "x.iso", "-add", "tree", "/"};
    EXPECT_EQ(run(words, "no\n").status, kFailed);
    EXPECT_EQ(folder_.read("x.iso"), "old");
    EXPECT_EQ(run(words, "cancel\n").status, kCancelled);
    EXPECT_EQ(run(words).status, kCancelled) << "end of input";
    EXPECT_EQ(folder_.read("x.iso"), "old");
    EXPECT_EQ(run(words, "maybe\r\nYES\r\n").status, 0);
    EXPECT_GT(folder_.read("x.iso").size(), 32768u);
}

TEST_F(Console, AStopDuringALongCommandLeavesNothingBehind) {
    // Large enough to be still under way when the signal comes, and sparse.
    const std::filesystem::path large = folder_.write("tree/large", "");
    std::filesystem::resize_file(large, std::uintmax_t{3} << 30);
    std::filesystem::create_directory(folder_ / "out");
    RunningProgram program(start({"create", "-o", "out/x.iso", "-add", "tree", "/"}));
    ASSERT_TRUE(program.waitForOutput("   1%"));
    program.signal(SIGINT);
    const ProgramEnd end = program.finish();
    EXPECT_EQ(end.status, kCancelled);
    EXPECT_TRUE(std::filesystem::is_empty(folder_ / "out"));
}

// A named semaphore that lives as long as the test.
struct Event {
    explicit Event(std::string eventName)
        : name(std::move(eventName)), semaphore(::sem_open(("/" + name).c_str(), O_CREAT | O_EXCL, 0600, 0)) {}
    ~Event() {
        ::sem_close(semaphore);
        ::sem_unlink(("/" + name).c_str());
    }
    Event(const Event&) = delete;
    // How often it was posted.
    int count() const {
        int value = -1;
        ::sem_getvalue(semaphore, &value);
        return value;
    }

    std::string name;
    sem_t* semaphore;
};

TEST_F(Console, PostsTheNamedEventOnceARunStepHasEnded) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "a POSIX semaphore";
    const Event event("tovlark-test-" + std::to_string(::getpid()));
    ASSERT_NE(event.semaphore, SEM_FAILED);
    run({"automount", "-evt", event.name});
    EXPECT_EQ(event.count(), 1) << "after success";
    run({"create", "-evt", event.name, "-label", "x"});
    EXPECT_EQ(event.count(), 2) << "after a failure";
    folder_.write("x.iso", "old");
    folder_.write("tree/a.txt", "content");
    run({"create", "-evt", event.name, "-o", "x.iso", "-add", "tree", "/"});
    EXPECT_EQ(event.count(), 3) << "after the end of input";
    run({"automount", "-evt", event.name, "wrong"});
    EXPECT_EQ(event.count(), 3) << "after a parse error";
    EXPECT_EQ(run({"automount", "-evt", "tovlark-no-such-event"}).status, 0);
}

TEST_F(Console, TheOtherToolsSayThatNobodyGetsTheirOutput) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "a POSIX shell and device";
    for (const char* tool : {"tvdrive", "tvset"}) {
        const std::string program = OurProgram(tool)[0];
        const ProgramEnd end = RunProgram({.words = {"/bin/sh", "-c", "exec \"$0\" list >/dev/full", program},
                                           .environment = {{"XDG_CONFIG_HOME", folder_.path()}}});
        EXPECT_EQ(end.errors, "Cannot write to standard output.\r\n") << tool;
        EXPECT_NE(end.status, 0) << tool;
    }
}

TEST_F(Console, WritesALanguageTemplate) {
    EXPECT_EQ(run({"create_lang_file", "-o", "t.ini"}).status, 0);
    EXPECT_THAT(folder_.read("t.ini"), HasSubstr("16=Version\r\n"));
    EXPECT_EQ(run({"create_lang_file", "-o", "no/such/folder/t.ini"}).status, kFailed);
}

}  // namespace
}  // namespace tovlark
