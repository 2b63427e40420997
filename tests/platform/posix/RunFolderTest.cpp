#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/posix/RunFolder.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

// What an attacker, or an accident, may have put where the folder should be.
struct Case {
    const char* fault;
    void (*prepare)(const std::filesystem::path& place);
    int error;
};

const Case kCases[] = {
    {"symbolic link followed",
     [](const std::filesystem::path& place) {
         std::filesystem::create_directory(place.string() + "-real");
         ::chmod((place.string() + "-real").c_str(), 0700);
         std::filesystem::create_directory_symlink(place.string() + "-real", place);
     },
     EPERM},
    {"file taken for a folder", [](const std::filesystem::path& place) { ::mknod(place.c_str(), S_IFREG | 0700, 0); },
     EPERM},
    {"folder that others can enter", [](const std::filesystem::path& place) { ::mkdir(place.c_str(), 0711); }, EPERM},
    {"new folder not private", [](const std::filesystem::path&) {}, 0},
    {"private folder refused", [](const std::filesystem::path& place) { ::mkdir(place.c_str(), 0700); }, 0},
};

TEST(RunFolder, IsUsedOnlyWhenItBelongsToThisUserAlone) {
    for (const Case& one : kCases) {
        const TempFolder folder;
        one.prepare(folder / "tovlark");
        const std::string uid = std::to_string(::geteuid());
        // In the session's runtime folder it falls back ...
        const RunFolder run = OpenRunFolder(folder.path().string(), folder.path().string(), MakeFolder::Yes);
        ASSERT_TRUE(run.folder) << one.fault;
        EXPECT_EQ(run.path, folder / (one.error == 0 ? "tovlark" : "tovlark-" + uid)) << one.fault;
        struct stat facts {};
        ASSERT_EQ(::fstat(run.folder.get(), &facts), 0);
        EXPECT_EQ(facts.st_mode & 0777, 0700u) << one.fault;

        // ... and in the shared folder there is nothing to fall back to.
        const TempFolder shared;
        one.prepare(shared / ("tovlark-" + uid));
        const RunFolder last = OpenRunFolder("", shared.path().string(), MakeFolder::Yes);
        EXPECT_EQ(last.error, one.error) << one.fault;
        EXPECT_EQ(static_cast<bool>(last.folder), one.error == 0) << one.fault;
    }
}

TEST(RunFolder, IsNotMadeByAProgramThatOnlyLooks) {
    const TempFolder folder;
    const RunFolder run = OpenRunFolder(folder.path().string(), folder.path().string(), MakeFolder::No);
    EXPECT_EQ(run.error, ENOENT);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    // A relative runtime folder is no runtime folder.
    EXPECT_EQ(OpenRunFolder("relative", folder.path().string(), MakeFolder::Yes).path,
              folder / ("tovlark-" + std::to_string(::geteuid())));
}

TEST(RunFolder, AFolderOfAnotherUserIsRefused) {
    const TempFolder folder;
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
    ::mkdir((folder / "tovlark-0").c_str(), 0700);
    ASSERT_EQ(::chown((folder / "tovlark-0").c_str(), 1, 1), 0);
    EXPECT_EQ(OpenRunFolder("", folder.path().string(), MakeFolder::Yes).error, EPERM);
}

}  // namespace
}  // namespace tovlark
