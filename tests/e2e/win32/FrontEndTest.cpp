// The front end on Windows against a program that stands in for the real one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "e2e/win32/WindowsProgram.h"
#include "platform/win32/ConsoleNames.h"

namespace tovlark {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

constexpr DWORD kFailed = static_cast<DWORD>(-1), kCancelled = static_cast<DWORD>(-2);

class FrontEnd : public testing::Test {
protected:
    FrontEnd() {
        std::filesystem::copy_file(WindowsProgramFolder() / "tvcmd.exe", folder_.path / "tvcmd.exe");
        std::filesystem::copy_file(WindowsProgramFolder() / "standin.exe", folder_.path / "tovlark.exe");
    }
    WindowsEnd run(const std::wstring& words, const std::string& input = {}) const {
        return RunWindowsProgram(folder_.path / "tvcmd.exe", words, input);
    }

    WindowsFolder folder_;
};

TEST_F(FrontEnd, PassesTheCommandLineBothStreamsAndTheStatusUnchanged) {
    const WindowsEnd end = run(L"words \"a b\" \"\" c\\\"d \u00E4");
    EXPECT_THAT(end.output, EndsWith("\nwords\na b\n\nc\"d\n\xC3\xA4\n"));
    EXPECT_EQ(end.errors, "on standard error\r\n");
    EXPECT_EQ(end.status, 3u);
    EXPECT_EQ(run(L"much 500001").output.size(), 500001u);
}

TEST_F(FrontEnd, ReadsOneLineForEachPrompt) {
    EXPECT_EQ(run(L"ask 2", "one\ntwo\nthree\n").output, "?[one]?[two]");
    const WindowsEnd ended = run(L"ask 2", "one\nhalf");
    EXPECT_EQ(ended.output, "?[one]?[half]-");
    EXPECT_EQ(ended.status, kCancelled);
}

TEST_F(FrontEnd, TakesMarkersOutOfTheStream) {
    const WindowsEnd end = run(L"pieces a \"<\" E 1 \">\" b \"<E0>\" \"<E\"");
    EXPECT_EQ(end.output, "ab<E");
    EXPECT_THAT(end.errors, HasSubstr("a step failed"));
    EXPECT_EQ(end.status, 0u);
}

TEST_F(FrontEnd, SaysWhyAProgramDidNotRunToItsEnd) {
    const WindowsEnd unbound = run(L"unbound");
    EXPECT_EQ(unbound.status, kFailed);
    EXPECT_THAT(unbound.errors, HasSubstr("before it had opened its console pipes"));
    std::filesystem::remove(folder_.path / "tovlark.exe");
    const WindowsEnd missing = run(L"words");
    EXPECT_EQ(missing.status, kFailed);
    EXPECT_THAT(missing.errors, HasSubstr("tovlark.exe is missing"));
}

TEST_F(FrontEnd, TheProgramTidiesUpWhenItIsCancelledOrItsFrontEndDies) {
    for (const bool cancels : {true, false}) {
        const WindowsFolder streams;
        WindowsProgram frontEnd(folder_.path / "tvcmd.exe", L"wait", "", streams.path);
        ASSERT_TRUE(frontEnd.waitForOutput("\n"));
        const DWORD program = std::stoul(frontEnd.outputSoFar().substr(8));
        const Handle process(::OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, program));
        ASSERT_TRUE(process);
        if (cancels) {
            const Handle cancel(
                ::OpenEventW(EVENT_MODIFY_STATE, FALSE, ConsoleObjectName(program, kCancelObject).c_str()));
            ASSERT_TRUE(cancel);
            ::SetEvent(cancel.get());
            const WindowsEnd end = frontEnd.finish();
            EXPECT_THAT(end.output, EndsWith("tidied\n"));
            EXPECT_EQ(end.status, kCancelled);
        } else {
            frontEnd.kill();
        }
        ASSERT_EQ(::WaitForSingleObject(process.get(), 20000), WAIT_OBJECT_0);
        DWORD status = 0;
        ::GetExitCodeProcess(process.get(), &status);
        EXPECT_EQ(status, kCancelled);
    }
}

}  // namespace
}  // namespace tovlark
