#include <gtest/gtest.h>
#include <signal.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

// A harness that loses bytes, mixes up streams or hangs would hide every other fault.
TEST(RunProgram, CapturesBothOutputsStatusAndLargeInput) {
    const std::string large(1 << 20, 'x');
    const ProgramEnd end = RunProgram({.words = {"sh", "-c", "cat; echo problem >&2; exit 7"},
                                       .input = large,
                                       .timeLimit = std::chrono::seconds(20)});
    EXPECT_EQ(end.output, large);
    EXPECT_EQ(end.errors, "problem\n");
    EXPECT_EQ(end.status, 7);
    EXPECT_FALSE(end.timedOut);
}

TEST(RunProgram, UsesFolderAndEnvironment) {
    const TempFolder folder;
    folder.write("here", "");
    const ProgramEnd end = RunProgram(
        {.words = {"sh", "-c", "ls; echo $PROBE"}, .environment = {{"PROBE", "set"}}, .folder = folder.path()});
    EXPECT_EQ(end.output, "here\nset\n");
    EXPECT_THROW(RunProgram({.words = {"/no/such/program"}}), std::system_error);
}

TEST(RunProgram, KillsTheWholeGroupAtTheTimeLimit) {
    const ProgramEnd end =
        RunProgram({.words = {"sh", "-c", "sleep 1000 & sleep 1000"}, .timeLimit = std::chrono::seconds(1)});
    EXPECT_TRUE(end.timedOut);
    EXPECT_EQ(end.status, 128 + SIGKILL);
}

TEST(RunProgram, TalksToARunningProgram) {
    RunningProgram program({.words = {"sh", "-c", "echo ask; read answer; echo got $answer; cat"}});
    ASSERT_TRUE(program.waitForOutput("ask\n"));
    program.send("yes\n");
    ASSERT_TRUE(program.waitForOutput("got yes\n"));
    EXPECT_FALSE(program.soFar().timedOut);
    program.signal(SIGTERM);
    program.signalGroup(SIGTERM);
    EXPECT_EQ(program.finish().status, 128 + SIGTERM);
}

}  // namespace
}  // namespace tovlark
