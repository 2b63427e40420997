// The console on Windows with the real program behind the front end: statuses, the event, both settings stores.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "e2e/win32/WindowsProgram.h"

namespace tovlark {
namespace {

using testing::HasSubstr;

constexpr DWORD kFailed = static_cast<DWORD>(-1), kCancelled = static_cast<DWORD>(-2);
constexpr wchar_t kSettingsKey[] = L"Software\\Tovlark";

// The programs in a folder of their own, where a portable store may lie.
class Console : public testing::Test {
protected:
    Console() {
        for (const char* program : {"tovlark.exe", "tvcmd.exe", "tvset.exe"})
            std::filesystem::copy_file(WindowsProgramFolder() / program, folder_.path / program);
        std::filesystem::create_directory(folder_.path / "tree");
        WriteFileBytes(folder_.path / "tree" / "a.txt", "content");
    }
    WindowsEnd run(const wchar_t* program, const std::wstring& words, const std::string& input = {}) const {
        return RunWindowsProgram(folder_.path / program, words, input);
    }
    std::wstring quoted(const wchar_t* name) const { return L'"' + (folder_.path / name).wstring() + L'"'; }

    WindowsFolder folder_;
};

TEST_F(Console, StatusesAreThoseOfTheProgram) {
    const WindowsEnd failed = run(L"tvcmd.exe", L"");
    EXPECT_EQ(failed.output, "\r\nTovlark Version 6.4\r\n            Type tvcmd -? for help\r\n\r\nNo parameters.\r\n");
    EXPECT_EQ(failed.status, kFailed);
    EXPECT_EQ(run(L"tvcmd.exe", L"automount").status, 0u);

    const std::wstring create = L"create -o " + quoted(L"x.iso") + L" -add " + quoted(L"tree") + L" /";
    EXPECT_EQ(run(L"tvcmd.exe", create).status, 0u);
    const std::string image = ReadFileBytes(folder_.path / "x.iso");
    EXPECT_EQ(image.substr(32769, 5), "CD001");
    // The file is there now: the question is answered through the pipe, or the input ends.
    WriteFileBytes(folder_.path / "x.iso", "old");
    EXPECT_EQ(run(L"tvcmd.exe", create).status, kCancelled);
    EXPECT_EQ(run(L"tvcmd.exe", create, "no\r\n").status, kFailed);
    EXPECT_EQ(ReadFileBytes(folder_.path / "x.iso"), "old");
    EXPECT_EQ(run(L"tvcmd.exe", create, "yes\r\n").status, 0u);
    EXPECT_EQ(ReadFileBytes(folder_.path / "x.iso").size(), image.size());
}

TEST_F(Console, SetsTheNamedEventOnceARunStepHasEnded) {
    const std::wstring name = L"tovlark-test-" + std::to_wstring(::GetCurrentProcessId());
    const Handle event(::CreateEventW(nullptr, FALSE, FALSE, name.c_str()));
    run(L"tvcmd.exe", L"-evt " + name + L" automount");
    EXPECT_EQ(::WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0);
    run(L"tvcmd.exe", L"-evt " + name + L" create");
    EXPECT_EQ(::WaitForSingleObject(event.get(), 0), WAIT_TIMEOUT) << "after a parse error";
    run(L"tvcmd.exe", L"-evt " + name + L" create -label x");
    EXPECT_EQ(::WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0) << "after a failure";
}

TEST_F(Console, SettingsLiveInTheRegistryOrInThePortableFile) {
    const auto registryNumber = [](const wchar_t* name) {
        DWORD value = 0, size = sizeof value;
        ::RegGetValueW(HKEY_CURRENT_USER, kSettingsKey, name, RRF_RT_REG_DWORD, nullptr, &value, &size);
        return value;
    };
    EXPECT_EQ(run(L"tvset.exe", L"set BurnBuffer 77").status, 0u);
    EXPECT_EQ(registryNumber(L"BurnBuffer"), 77u);
    EXPECT_THAT(run(L"tvset.exe", L"get BurnBuffer").output, HasSubstr(" 77"));

    WriteFileBytes(folder_.path / "tovlark.ini", "[Settings]\r\nPortableVersion=1\r\n");
    EXPECT_EQ(run(L"tvset.exe", L"set BurnBuffer 99").status, 0u);
    EXPECT_EQ(registryNumber(L"BurnBuffer"), 77u);
    EXPECT_THAT(ReadFileBytes(folder_.path / "tovlark.ini"), HasSubstr("BurnBuffer=99"));
    EXPECT_THAT(run(L"tvset.exe", L"get BurnBuffer").output, HasSubstr(" 99"));
    ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kSettingsKey, L"BurnBuffer");
}

}  // namespace
}  // namespace tovlark
