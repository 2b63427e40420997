#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/SystemClock.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

Text TextOf(const std::filesystem::path& path) { return path.u16string(); }

std::span<const std::byte> BytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

std::set<Text> NamesIn(const std::filesystem::path& folder) {
    std::set<Text> names;
    EXPECT_FALSE(ListFolder(TextOf(folder), [&names](const FolderEntry& entry) {
                     names.insert(Text(entry.name));
                     return true;
                 }).failed());
    return names;
}

TEST(Files, TellsWhatAFileIs) {
    const TempFolder folder;
    const Text path = TextOf(folder.write("a.bin", std::string(3000, 'x')));
    FileInfo info, again;
    ASSERT_FALSE(GetFileInfo(path, info).failed());
    EXPECT_EQ(info.kind, FileKind::Regular);
    EXPECT_EQ(info.sizeBytes, 3000u);
    EXPECT_EQ(info.mode & 0170000, 0100000u);
    const Clock clock = SystemClock();
    EXPECT_LE(std::abs(clock.now(clock.self) - info.modified), 60);
    EXPECT_LE(std::abs(clock.now(clock.self) - info.created), 60);
    ASSERT_FALSE(GetTargetInfo(TextOf(folder.path() / "." / "a.bin"), again).failed());
    EXPECT_EQ(info.identity, again.identity);

    ASSERT_FALSE(GetFileInfo(TextOf(folder.path()), info).failed());
    EXPECT_EQ(info.kind, FileKind::Folder);
    EXPECT_EQ(info.mode & 0170000, 0040000u);
    EXPECT_TRUE(IsNotFound(GetFileInfo(TextOf(folder / "missing"), info)));
    EXPECT_TRUE(IsNotFound(GetFileInfo(TextOf(folder / "missing" / "deeper"), info)));
    EXPECT_TRUE(IsNotFound(GetFileInfo(u"", info)));
    EXPECT_TRUE(IsNotFound(GetFileInfo(path + Text(1, u'\0') + u"x", info))) << "a path with NUL is not cut there";
}

TEST(Files, ListsAFolderAsItsEntriesAreExamined) {
    const TempFolder folder;
    const char16_t* names[] = {u".hidden", u"Grüße 💿.txt", u"plain"};
    for (const char16_t* name : names) folder.write(name, "content");
    std::filesystem::create_directory(folder / "sub");
    std::map<Text, FileInfo> found;
    ASSERT_FALSE(ListFolder(TextOf(folder.path()), [&found](const FolderEntry& entry) {
                     EXPECT_FALSE(entry.error.failed());
                     found[Text(entry.name)] = entry.info;
                     return true;
                 }).failed());
    EXPECT_EQ(found.size(), 4u);
    for (const auto& [name, listed] : found) {
        FileInfo info;
        ASSERT_FALSE(GetFileInfo(JoinPath(TextOf(folder.path()), name), info).failed()) << ToUtf8(name);
        EXPECT_EQ(listed.kind, info.kind);
        EXPECT_EQ(listed.sizeBytes, info.sizeBytes);
        EXPECT_EQ(listed.modified, info.modified);
        EXPECT_EQ(listed.mode, info.mode);
        EXPECT_EQ(listed.identity, info.identity) << ToUtf8(name);
    }
    int visits = 0;
    ASSERT_FALSE(ListFolder(TextOf(folder.path()), [&visits](const FolderEntry&) { return ++visits < 2; }).failed());
    EXPECT_EQ(visits, 2);
    const auto ignore = [](const FolderEntry&) { return true; };
    EXPECT_TRUE(ListFolder(TextOf(folder / "plain"), ignore).failed());
    EXPECT_TRUE(IsNotFound(ListFolder(TextOf(folder / "missing"), ignore)));
}

TEST(Files, ListsFoldersWithMoreEntriesThanOneReplyHolds) {
    const TempFolder folder;
    for (int index = 0; index < 1500; ++index)
        folder.write("a file with a long name, number " + std::to_string(index), "");
    EXPECT_EQ(NamesIn(folder.path()).size(), 1500u);
}

TEST(Files, ReadsAtAnyOffset) {
    const TempFolder folder;
    InputFile file;
    EXPECT_FALSE(file.isOpen());
    ASSERT_FALSE(file.open(TextOf(folder.write("a", "0123456789"))).failed());
    struct Case {
        std::uint64_t offset;
        std::size_t wanted;
        std::string expected;
    };
    const Case cases[] = {{0, 4, "0123"}, {7, 4, "789"}, {10, 4, ""}, {1ull << 40, 4, ""}, {3, 0, ""}};
    for (const Case& row : cases) {
        std::string buffer(row.wanted, '-');
        std::size_t count = 99;
        ASSERT_FALSE(file.readAt(row.offset, std::as_writable_bytes(std::span(buffer)), count).failed()) << row.offset;
        EXPECT_EQ(buffer.substr(0, count), row.expected);
    }
    const InputFile moved = std::move(file);
    FileInfo info;
    ASSERT_FALSE(moved.examine(info).failed());
    EXPECT_EQ(info.sizeBytes, 10u);
}

TEST(Files, RefusesToReadWhatIsNoFile) {
    const TempFolder folder;
    InputFile file;
    EXPECT_EQ(file.open(TextOf(folder.path())), kIsFolder);
    EXPECT_TRUE(IsNotFound(file.open(TextOf(folder / "missing"))));
    EXPECT_FALSE(file.isOpen());
}

TEST(Files, ReadsFilesOfAnOpenFolder) {
    const TempFolder folder;
    folder.write("a", "0123456789");
    OpenFolder opened;
    ASSERT_FALSE(opened.open(TextOf(folder.path())).failed());
    InputFile file;
    EXPECT_TRUE(IsNotFound(file.open(opened, u"missing")));
    ASSERT_FALSE(file.open(opened, u"a").failed());
    struct Case {
        const char* fault;
        std::size_t enough;
        std::size_t room;
        std::string expected;
    };
    for (const Case& row : {Case{"as expected", 10, 11, "0123456789"}, Case{"became longer", 8, 9, "012345678"},
                            Case{"became shorter", 20, 21, "0123456789"}}) {
        std::string buffer(row.room, '-');
        std::size_t count = 0;
        ASSERT_FALSE(file.readAt(0, std::as_writable_bytes(std::span(buffer)), row.enough, count).failed());
        EXPECT_EQ(buffer.substr(0, count), row.expected) << row.fault;
    }
    // A folder that is none is found out at the latest with its first file.
    const SystemError error = opened.open(TextOf(folder / "no folder"));
    EXPECT_TRUE(IsNotFound(error.failed() ? error : file.open(opened, u"a")));
}

TEST(Files, ReadsSmallFilesWhole) {
    const TempFolder folder;
    std::string bytes = "old";
    for (const std::size_t size : {std::size_t{0}, std::size_t{5}, std::size_t{65536}, std::size_t{70000}}) {
        const std::string content(size, 'c');
        const Text path = TextOf(folder.write("f", content));
        ASSERT_FALSE(ReadWholeFile(path, size, bytes).failed());
        EXPECT_EQ(bytes, content);
        if (size > 0) {
            EXPECT_EQ(ReadWholeFile(path, size - 1, bytes), kFileTooLarge);
        }
    }
}

TEST(NewFiles, AppearWholeOrNotAtAll) {
    const TempFolder folder;
    const Text path = TextOf(folder / "image.iso");
    {
        NewFile file;
        ASSERT_FALSE(file.create(path).failed());
        ASSERT_FALSE(file.write(BytesOf("half")).failed());
        FileInfo info;
        EXPECT_TRUE(IsNotFound(GetFileInfo(path, info)));
    }
    EXPECT_EQ(NamesIn(folder.path()), std::set<Text>()) << "given up: nothing stays";
    NewFile file;
    ASSERT_FALSE(file.create(path).failed());
    const FileIdentity identity = file.identity();
    ASSERT_FALSE(file.write(BytesOf("whole")).failed());
    ASSERT_FALSE(file.commit().failed());
    EXPECT_EQ(folder.read("image.iso"), "whole");
    EXPECT_EQ(NamesIn(folder.path()), std::set<Text>{u"image.iso"});
    FileInfo info;
    ASSERT_FALSE(GetFileInfo(path, info).failed());
    EXPECT_EQ(info.identity, identity);
    EXPECT_EQ(file.identity(), FileIdentity());
}

TEST(NewFiles, ReplaceAnOldFileOnlyAtTheEnd) {
    const TempFolder folder;
    folder.write("image.iso", "old");
    const Text path = TextOf(folder / "image.iso");
    {
        NewFile file;
        ASSERT_FALSE(file.create(path).failed());
        ASSERT_FALSE(file.write(BytesOf("new, given up")).failed());
    }
    EXPECT_EQ(folder.read("image.iso"), "old");
    NewFile file;
    ASSERT_FALSE(file.create(path).failed());
    ASSERT_FALSE(file.write(BytesOf("new")).failed());
    EXPECT_EQ(folder.read("image.iso"), "old");
    ASSERT_FALSE(file.commit().failed());
    EXPECT_EQ(folder.read("image.iso"), "new");
    EXPECT_EQ(NamesIn(folder.path()).size(), 1u);
}

TEST(NewFiles, RefuseBadPlacesAtOnce) {
    const TempFolder folder;
    folder.write("file", "");
    NewFile file;
    EXPECT_EQ(file.create(TextOf(folder.path())), kIsFolder);
    EXPECT_EQ(file.create(TextOf(folder.path()) + kPathSeparator), kIsFolder);
    EXPECT_EQ(file.create(TextOf(folder / "new") + kPathSeparator), kIsFolder);
    EXPECT_TRUE(IsNotFound(file.create(TextOf(folder / "missing" / "x"))));
    EXPECT_TRUE(file.create(TextOf(folder / "file" / "x")).failed());
    EXPECT_TRUE(file.create(u"").failed());
    EXPECT_EQ(NamesIn(folder.path()), std::set<Text>{u"file"});
}

TEST(NewFiles, TakeTheLongestNames) {
    const TempFolder folder;
    for (const Text& name : {Text(255, u'n'), Text(127, u'é') + u"x"}) {
        for (int round = 0; round < 2; ++round) {  // the second replaces the first
            NewFile file;
            ASSERT_FALSE(file.create(JoinPath(TextOf(folder.path()), name)).failed());
            ASSERT_FALSE(file.commit().failed()) << round;
        }
        EXPECT_EQ(NamesIn(folder.path()).count(name), 1u);
    }
}

TEST(NewFiles, CopyRangesOfOtherFiles) {
    const TempFolder folder;
    std::string content;
    for (std::uint64_t index = 0; content.size() < 3'000'000; ++index) content += std::to_string(index * 7919);
    InputFile source;
    ASSERT_FALSE(source.open(TextOf(folder.write("source", content))).failed());
    struct Case {
        std::uint64_t offset, size;
    };
    const Case cases[] = {{0, content.size()},
                          {1, 5},
                          {1'000'001, 1'500'000},
                          {content.size() - 10, 100},
                          {content.size(), 1},
                          {content.size() + 5000, 1},
                          {2'000'000, std::uint64_t{1} << 40}};
    NewFile file;
    ASSERT_FALSE(file.create(TextOf(folder / "copy")).failed());
    std::string expected = "head";
    ASSERT_FALSE(file.write(BytesOf(expected)).failed());
    for (const Case& row : cases) {
        const std::string part = row.offset < content.size() ? content.substr(row.offset, row.size) : std::string();
        std::uint64_t copied = 99;
        ASSERT_FALSE(file.append(source, row.offset, row.size, copied).failed()) << row.offset;
        EXPECT_EQ(copied, part.size()) << row.offset;
        ASSERT_FALSE(file.write(BytesOf("|")).failed());
        expected += part + "|";
    }
    ASSERT_FALSE(file.commit().failed());
    EXPECT_EQ(folder.read("copy"), expected);
}

TEST(Files, CreatesFoldersAndRemovesFiles) {
    const TempFolder folder;
    const Text deep = TextOf(folder / "a" / "b" / "c");
    ASSERT_FALSE(CreateFolders(deep).failed());
    EXPECT_FALSE(CreateFolders(deep).failed());
    folder.write("file", "");
    EXPECT_TRUE(CreateFolders(TextOf(folder / "file")).failed());
    EXPECT_TRUE(CreateFolders(TextOf(folder / "file" / "x")).failed());
    EXPECT_TRUE(CreateFolders(u"").failed());
    EXPECT_TRUE(RemoveFile(TextOf(folder / "a")).failed());
    EXPECT_FALSE(RemoveFile(TextOf(folder / "file")).failed());
    EXPECT_TRUE(IsNotFound(RemoveFile(TextOf(folder / "file"))));
}

TEST(Files, DescribesErrorsInWords) {
    FileInfo info;
    for (const SystemError error : {GetFileInfo(u"missing file", info), kIsFolder, kFileTooLarge, SystemError{54321}}) {
        const Text words = DescribeError(error);
        EXPECT_FALSE(words.empty() || words.back() == u'.' || words.back() == u'\n') << error.code;
    }
}

}  // namespace
}  // namespace tovlark
