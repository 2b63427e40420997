#include <windows.h>
#include <gtest/gtest.h>

#include "platform/Files.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

TEST(WindowsFilesDeathTest, LeaveNothingWhenKilled) {
    const TempFolder folder;
    const Text path = (folder / "image").u16string();
    EXPECT_EXIT(
        {
            NewFile file;
            if (!file.create(path).failed()) ::TerminateProcess(::GetCurrentProcess(), 7);
        },
        testing::ExitedWithCode(7), "");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(WindowsFiles, RefuseToReplaceWhatIsReadOnly) {
    const TempFolder folder;
    const std::filesystem::path path = folder.write("image", "old");
    ASSERT_TRUE(::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
    NewFile file;
    EXPECT_EQ(file.create(path.u16string()), SystemError{ERROR_ACCESS_DENIED});
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(folder.read("image"), "old");
}

TEST(WindowsFiles, RefuseDevices) {
    InputFile input;
    NewFile output;
    EXPECT_TRUE(input.open(u"NUL").failed());
    EXPECT_TRUE(output.create(u"NUL").failed());
}

}  // namespace
}  // namespace tovlark
