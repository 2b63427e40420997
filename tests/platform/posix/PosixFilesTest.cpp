#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/FileParts.h"
#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/posix/UnfinishedFiles.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

Text TextOf(const std::filesystem::path& path) { return FromUtf8(path.native()); }

std::span<const std::byte> BytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

void Replace(const std::filesystem::path& path, const std::string& content) {
    NewFile file;
    ASSERT_FALSE(file.create(TextOf(path)).failed());
    ASSERT_FALSE(file.write(BytesOf(content)).failed());
    ASSERT_FALSE(file.commit().failed());
}

mode_t ModeOf(const std::filesystem::path& path) {
    struct stat facts {};
    EXPECT_EQ(::stat(path.c_str(), &facts), 0);
    return facts.st_mode & 07777;
}

TEST(PosixFiles, KeepsNamesThatAreNotUtf8) {
    const TempFolder folder;
    folder.write("caf\xE9", "latin");
    Text found;
    ASSERT_FALSE(ListFolder(TextOf(folder.path()), [&found](const FolderEntry& entry) {
                     found = entry.name;
                     return true;
                 }).failed());
    EXPECT_EQ(found, Text(u"caf\xDCE9"));
    std::string bytes;
    ASSERT_FALSE(ReadWholeFile(JoinPath(TextOf(folder.path()), found), 100, bytes).failed());
    EXPECT_EQ(bytes, "latin");
}

TEST(PosixFiles, ReportsLinksAndFollowsThem) {
    const TempFolder folder;
    folder.write("target", "12345");
    const std::string farTarget(3000, 'f');
    std::filesystem::create_symlink("target", folder / "link");
    std::filesystem::create_symlink("missing", folder / "dangling");
    std::filesystem::create_symlink(farTarget, folder / "far");
    FileInfo info;
    ASSERT_FALSE(GetFileInfo(TextOf(folder / "link"), info).failed());
    EXPECT_EQ(info.kind, FileKind::SymbolicLink);
    ASSERT_FALSE(GetTargetInfo(TextOf(folder / "link"), info).failed());
    EXPECT_EQ(info.sizeBytes, 5u);
    EXPECT_FALSE(GetFileInfo(TextOf(folder / "dangling"), info).failed());
    EXPECT_TRUE(IsNotFound(GetTargetInfo(TextOf(folder / "dangling"), info)));
    Text target;
    ASSERT_FALSE(ReadSymbolicLink(TextOf(folder / "far"), target).failed());
    EXPECT_EQ(target, FromUtf8(farTarget));
    EXPECT_TRUE(ReadSymbolicLink(TextOf(folder / "target"), target).failed());
}

TEST(PosixFiles, NeverWaitsForAFifo) {
    const TempFolder folder;
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (folder / "socket").native().copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    FileInfo info;
    for (const char* name : {"fifo", "socket"}) {
        InputFile input;
        NewFile output;
        ASSERT_FALSE(GetFileInfo(TextOf(folder / name), info).failed());
        EXPECT_EQ(info.kind, FileKind::Other) << name;
        EXPECT_TRUE(input.open(TextOf(folder / name)).failed()) << name;
        EXPECT_TRUE(output.create(TextOf(folder / name)).failed()) << name << " must not be replaced";
    }
    ::close(listener);
    NewFile output;
    EXPECT_TRUE(output.create(u"/dev/null").failed()) << "a device must not be replaced";
}

TEST(PosixFiles, GivesNewFilesTheirPermissions) {
    const TempFolder folder;
    const mode_t old = ::umask(027);
    Replace(folder / "new", "x");
    ::umask(old);
    EXPECT_EQ(ModeOf(folder / "new"), 0640u);
    ASSERT_EQ(::chmod((folder / "new").c_str(), 0604), 0);
    Replace(folder / "new", "y");
    EXPECT_EQ(ModeOf(folder / "new"), 0604u) << "an existing file's are kept";
    EXPECT_EQ(folder.read("new"), "y");
}

TEST(PosixFiles, WritesThroughLinks) {
    const TempFolder folder;
    std::filesystem::create_directory(folder / "sub");
    folder.write("sub/image", "old");
    std::filesystem::create_symlink("sub/image", folder / "link");
    std::filesystem::create_symlink(folder / "link", folder / "sub/again");
    std::filesystem::create_symlink("sub/later", folder / "dangling");
    std::filesystem::create_symlink("loop", folder / "loop");
    Replace(folder / "sub/again", "new");
    Replace(folder / "dangling", "made");
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "sub/again"));
    EXPECT_EQ(folder.read("sub/image"), "new");
    EXPECT_EQ(folder.read("sub/later"), "made");
    NewFile file;
    EXPECT_EQ(file.create(TextOf(folder / "loop")), kTooManyLinks);
}

TEST(PosixFiles, FollowsItsFolderWhenThatIsRenamed) {
    const TempFolder folder;
    std::filesystem::create_directory(folder / "before");
    NewFile file;
    ASSERT_FALSE(file.create(TextOf(folder / "before/image")).failed());
    std::filesystem::rename(folder / "before", folder / "after");
    ASSERT_FALSE(file.commit().failed());
    EXPECT_TRUE(std::filesystem::exists(folder / "after/image"));
}

TEST(PosixFiles, LeavesTheOldFileWhenTheNewCannotTakeItsPlace) {
    const TempFolder folder;
    NewFile file;
    ASSERT_FALSE(file.create(TextOf(folder / "image")).failed());
    std::filesystem::create_directory(folder / "image");
    EXPECT_TRUE(file.commit().failed());
    file = NewFile();
    std::filesystem::remove(folder / "image");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

// Needs a file system that can hold files without a name; others leave a ".part" file, which is no fault of the code.
TEST(PosixFiles, LeavesNothingWhenKilled) {
    const TempFolder folder;
    const int probe = ::open(folder.path().c_str(), O_TMPFILE | O_RDWR, 0600);
    if (probe < 0) GTEST_SKIP() << "no O_TMPFILE here";
    ::close(probe);
    const pid_t child = ::fork();
    if (child == 0) {
        NewFile file;
        if (file.create(TextOf(folder / "image")).failed() || file.write(BytesOf("half")).failed()) ::_exit(1);
        ::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

// A failed `commit` leaves the file under its temporary name, as it is from the start where a file cannot go without.
TEST(PosixFiles, LeavesNothingWhenEndedInAHurry) {
    const TempFolder folder;
    NewFile file;
    ASSERT_FALSE(file.create(TextOf(folder / "image")).failed());
    std::filesystem::create_directory(folder / "image");
    ASSERT_TRUE(file.commit().failed());
    RemoveUnfinishedFiles();
    std::filesystem::remove(folder / "image");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    file = NewFile();
    const Text name = TemporaryName(u"image", static_cast<std::uint32_t>(::getpid()), 0);
    folder.write(ToUtf8(name), "");
    RemoveUnfinishedFiles();
    EXPECT_FALSE(std::filesystem::is_empty(folder.path())) << "the name is no longer ours";
}

TEST(PosixFiles, ReportsAFullDisk) {
    InputFile zeros;
    ASSERT_FALSE(zeros.open(u"/dev/zero").failed());
    const TempFolder folder;
    NewFile file;
    ASSERT_FALSE(file.create(TextOf(folder / "image")).failed());
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{100'000, limit.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    std::uint64_t copied = 0;
    const SystemError error = file.append(zeros, 0, 1'000'000, copied);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(error, kFileTooLarge);
}

TEST(PosixFiles, CopiesFilesWhoseSizeTheSystemDoesNotKnow) {
    InputFile source;
    ASSERT_FALSE(source.open(u"/proc/self/maps").failed());
    const TempFolder folder;
    NewFile file;
    ASSERT_FALSE(file.create(TextOf(folder / "copy")).failed());
    std::uint64_t copied = 0;
    ASSERT_FALSE(file.append(source, 0, 1 << 20, copied).failed());
    EXPECT_GT(copied, 0u);
}

TEST(PosixFiles, CutsTemporaryNamesBetweenCharacters) {
    const Text name = TemporaryName(Text(200, u'é'), 4194304, 0);
    EXPECT_LE(ToUtf8(name).size(), 255u);
    EXPECT_GT(ToUtf8(name).size(), 250u);
    EXPECT_EQ(name.front(), u'.');
    EXPECT_TRUE(name.ends_with(u"é.4194304-0.part"));
}

TEST(PosixFiles, OpenNoFolderThroughALink) {
    const TempFolder folder;
    folder.write("real/file", "");
    std::filesystem::create_directory_symlink("real", folder / "link");
    OpenFolder above, below;
    ASSERT_FALSE(above.open(folder.path().u16string()).failed());
    EXPECT_FALSE(below.open(above, u"real").failed());
    EXPECT_TRUE(below.open(above, u"link").failed());
    EXPECT_TRUE(above.finishFolder(u"link", 0700, {}).failed());
    FileInfo info;
    ASSERT_FALSE(above.examine(u"link", info).failed());
    EXPECT_EQ(info.kind, FileKind::SymbolicLink);
}

}  // namespace
}  // namespace tovlark
