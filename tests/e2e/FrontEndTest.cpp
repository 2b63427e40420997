// The front end against a program that stands in for the real one, so that every way in which a program can behave, and
// end, comes up.
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using std::filesystem::path;
using testing::HasSubstr;

constexpr int kFailed = 255, kCancelled = 254;

class FrontEnd : public testing::Test {
protected:
    FrontEnd() {
        std::filesystem::copy_file(ProgramFile("tvcmd"), ProgramFile("tvcmd", folder_.path()));
        std::filesystem::copy_file(ProgramFile("standin"), ProgramFile("tovlark", folder_.path()));
        std::filesystem::create_directory(folder_ / "run");
        std::filesystem::permissions(folder_ / "run", std::filesystem::perms::owner_all);
    }

    ProgramStart start(const std::vector<std::string>& words, const std::string& input = {}) const {
        return {.words = OurProgram("tvcmd", words, folder_.path()),
                .input = input,
                .environment = {{"XDG_RUNTIME_DIR", folder_ / "run"}},
                .timeLimit = std::chrono::seconds(30)};
    }
    ProgramEnd run(const std::vector<std::string>& words, const std::string& input = {}) const {
        return RunProgram(start(words, input));
    }
    // With a shell around it: $TVCMD is the front end.
    ProgramEnd runScript(const std::string& script, const std::string& input = {}) const {
        ProgramStart shell = start({}, input);
        shell.words = {"bash", "-c", script};
        std::string& frontEnd = shell.environment["TVCMD"];
        for (const std::string& word : OurProgram("tvcmd", {}, folder_.path())) frontEnd += word + " ";
        shell.folder = folder_.path();
        return RunProgram(shell);
    }
    void expectNoPipesLeft() const {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_ / "run"))
            EXPECT_TRUE(entry.is_directory()) << entry.path();
    }

    TempFolder folder_;
};

TEST_F(FrontEnd, PassesWordsBothStreamsAndTheStatusUnchanged) {
    // Words of a Windows program are always text.
    const std::string strange = TestingWindowsPrograms() ? "\xC3\xA4" : "\xC3\xA4 \xFF";
    const ProgramEnd end = run({"words", "a b", "", "\"q\"", strange, "-x"});
    EXPECT_THAT(end.output, testing::EndsWith("\nwords\na b\n\n\"q\"\n" + strange + "\n-x\n"));
    EXPECT_EQ(end.errors, "on standard error\r\n");
    EXPECT_EQ(end.status, 3);
    expectNoPipesLeft();
}

TEST_F(FrontEnd, RelaysEverythingBeforeItEnds) {
    const ProgramEnd end = run({"much", "3000001"});
    EXPECT_EQ(end.output.size(), 3000001u);
    EXPECT_EQ(end.status, 0);
}

TEST_F(FrontEnd, ReadsStandardInputOnlyWhileAPromptIsOpen) {
    EXPECT_EQ(run({"ask", "2"}, "one\ntwo\nthree\n").output, "?[one]?[two]");
    // A script's own lines stay its own.
    const ProgramEnd loop = runScript("while read line; do $TVCMD ask 1; echo \" $line\"; done", "1\nyes\n2\nno\n3\n");
    EXPECT_EQ(loop.output, "?[yes] 1\n?[no] 2\n?[]- 3\n");
    EXPECT_EQ(runScript("printf '1\\n2\\n' | { $TVCMD words >/dev/null; cat; }").output, "1\n2\n");
    const std::string longLine(70000, 'l');
    EXPECT_EQ(run({"ask", "2"}, longLine + "\nend\n").output, "?[" + longLine + "]?[end]");
}

TEST_F(FrontEnd, EndOfInputReachesThePrompt) {
    for (const char* script : {"$TVCMD ask 1 </dev/null", "$TVCMD ask 1 <&-"}) {
        const ProgramEnd end = runScript(script);
        EXPECT_EQ(end.output, "?[]-") << script;
        EXPECT_EQ(end.status, kCancelled) << script;
    }
    EXPECT_EQ(run({"ask", "2"}, "one\nhalf").output, "?[one]?[half]-");
}

TEST_F(FrontEnd, TakesMarkersOutOfTheStream) {
    struct Case {
        const char* fault;
        std::vector<std::string> pieces;
        const char* shown;
        bool tellsFailure;
    };
    const Case cases[] = {
        {"marker shown", {"a", "<E1>", "b"}, "ab", false},
        {"text taken for a marker", {"a<E0>b"}, "a<E0>b", false},
        {"cut marker shown", {"a", "<", "E", "1", ">", "b"}, "ab", false},
        {"failure not told", {"<E1>", "<E0>"}, "", true},
        {"earlier failure counts", {"<E0>", "x", "<E1>"}, "x", false},
        {"text that resembles one lost", {"<E<E2><<E0", "<E>"}, "<E<E2><<E0<E>", false},
        {"end of the stream held back", {"<E0"}, "<E0", false},
    };
    for (const Case& one : cases) {
        std::vector<std::string> words = {"pieces"};
        words.insert(words.end(), one.pieces.begin(), one.pieces.end());
        const ProgramEnd end = run(words);
        EXPECT_EQ(end.output, one.shown) << one.fault;
        EXPECT_EQ(end.errors.empty(), !one.tellsFailure) << one.fault << ": " << end.errors;
        EXPECT_EQ(end.status, 0) << one.fault;
    }
}

TEST_F(FrontEnd, SaysWhyAProgramDidNotRunToItsEnd) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "POSIX signals and permissions";
    const ProgramEnd unbound = run({"unbound"});
    EXPECT_EQ(unbound.status, kFailed);
    EXPECT_THAT(unbound.errors, HasSubstr("before it had opened its console pipes"));
    expectNoPipesLeft();

    RunningProgram killed(start({"stubborn"}));
    ASSERT_TRUE(killed.waitForOutput("running "));
    ASSERT_TRUE(killed.waitForOutput("\n"));
    ::kill(std::stoi(killed.soFar().output.substr(8)), SIGKILL);
    const ProgramEnd afterKill = killed.finish();
    EXPECT_EQ(afterKill.status, kFailed);
    EXPECT_EQ(afterKill.errors, "tovlark ended by signal 9.\r\n");
    expectNoPipesLeft();

    std::filesystem::permissions(folder_ / "tovlark", std::filesystem::perms::owner_read);
    EXPECT_THAT(run({"words"}).errors, HasSubstr("Cannot start " + (folder_ / "tovlark").string()));
    std::filesystem::remove(folder_ / "tovlark");
    const ProgramEnd missing = run({"words"});
    EXPECT_EQ(missing.status, kFailed);
    EXPECT_THAT(missing.errors, HasSubstr((folder_ / "tovlark").string() + " is missing"));
    expectNoPipesLeft();
}

TEST_F(FrontEnd, RequestsToStopReachTheProgramOnce) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "POSIX signals and permissions";
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        RunningProgram program(start({"wait"}));
        ASSERT_TRUE(program.waitForOutput("waiting"));
        program.signal(number);
        program.signalGroup(number);  // as `timeout` does
        const ProgramEnd end = program.finish();
        EXPECT_THAT(end.output, testing::EndsWith("\ntidied\n"));
        EXPECT_EQ(end.status, kCancelled);
    }
    expectNoPipesLeft();
}

TEST_F(FrontEnd, AStopBeforeTheProgramWatchesIsNotLost) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "POSIX signals and permissions";
    RunningProgram program(start({"wait"}));
    program.signal(SIGTERM);
    const ProgramEnd end = program.finish();
    // Either the front end had not yet begun to watch, or the program tidied up.
    EXPECT_THAT(end.status, testing::AnyOf(kCancelled, 128 + SIGTERM));
    EXPECT_FALSE(end.timedOut);
    expectNoPipesLeft();
}

TEST_F(FrontEnd, ASecondRequestEndsEvenADeafProgram) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "POSIX signals and permissions";
    for (const char* action : {"stubborn", "deaf"}) {
        // Requests that come at once count as one, hence the repetition.
        const ProgramEnd end = runScript(std::string("rm -f out; $TVCMD ") + action +
                                         " > out & until grep -qs running out; do sleep 0.05; done;"
                                         "while kill -TERM $! 2>/dev/null; do sleep 0.1; done; wait $!");
        EXPECT_EQ(end.status, kCancelled) << action;
        EXPECT_EQ(end.errors, "Stopped at once, without tidying up.\r\n") << action;
    }
    expectNoPipesLeft();
}

TEST_F(FrontEnd, AReaderThatGoesAwayCancelsTheCommand) {
    const ProgramEnd end = runScript("$TVCMD much 3000000 | head -c 5; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(end.output, "xxxxx");
    EXPECT_THAT(end.errors, HasSubstr("Cannot write to standard output: "));
    EXPECT_EQ(end.status, kCancelled);
}

TEST_F(FrontEnd, TheProgramEndsByItselfWhenTheFrontEndIsKilled) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "POSIX signals and permissions";
    RunningProgram frontEnd(start({"wait"}));
    ASSERT_TRUE(frontEnd.waitForOutput("\n"));
    const auto program = static_cast<pid_t>(std::stoi(frontEnd.soFar().output.substr(8)));
    pollfd ended{static_cast<int>(::syscall(SYS_pidfd_open, program, 0)), POLLIN, 0};
    ASSERT_GE(ended.fd, 0);
    frontEnd.signal(SIGKILL);
    EXPECT_EQ(::poll(&ended, 1, 10000), 1);
    ::close(ended.fd);
    expectNoPipesLeft();
}

TEST_F(FrontEnd, NeverUsesAFolderThatOthersCanReachInto) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "POSIX signals and permissions";
    std::filesystem::create_directory(folder_ / "elsewhere");
    std::filesystem::create_directory_symlink(folder_ / "elsewhere", folder_ / "run/tovlark");
    EXPECT_EQ(run({"words"}).status, 3);
    EXPECT_TRUE(std::filesystem::is_empty(folder_ / "elsewhere"));
}

}  // namespace
}  // namespace tovlark
