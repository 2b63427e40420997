#include <gtest/gtest.h>

#include "platform/Files.h"
#include "platform/Paths.h"

namespace tovlark {
namespace {

TEST(WindowsPaths, MakesRecordedNamesHarmless) {
    struct Case {
        TextView recorded, local;
    };
    const Case cases[] = {{u"..", u"__"},
                          {u"...", u".._"},
                          {u"..\\..\\x", u".._.._x"},
                          {u"C:stream", u"C_stream"},
                          {u"a<b>|?*\"", u"a_b_____"},
                          {u"blank ", u"blank_"},
                          {u"nul", u"_nul"},
                          {u"Con .txt", u"_Con .txt"},
                          {u"COM1.log", u"_COM1.log"},
                          {u"lpt\u00B2", u"_lpt\u00B2"},
                          {u"COM10", u"COM10"},
                          {u"console", u"console"}};
    for (const Case& row : cases) EXPECT_EQ(LocalName(row.recorded), row.local);
    EXPECT_EQ(LocalNameKey(u"\u00E4a"), LocalNameKey(u"\u00C4A"));
}

TEST(WindowsPaths, KnowsEveryKindOfRoot) {
    struct Case {
        TextView path;
        std::size_t rootLength;
        bool isAbsolute, isRoot;
        TextView folder, name;
    };
    const Case cases[] = {
        {u"C:\\", 3, true, true, u"C:\\", u""},
        {u"c:/x", 3, true, false, u"c:/", u"x"},
        {u"C:", 2, false, false, u"C:", u""},
        {u"C:x", 2, false, false, u"C:", u"x"},
        {u"\\x", 1, false, false, u"\\", u"x"},
        {u"\\\\server\\share", 14, true, true, u"\\\\server\\share", u""},
        {u"\\\\server\\share\\", 15, true, true, u"\\\\server\\share\\", u""},
        {u"\\\\server\\share\\a\\b", 15, true, false, u"\\\\server\\share\\a", u"b"},
        {u"\\\\?\\C:\\a", 7, true, false, u"\\\\?\\C:\\", u"a"},
        {u"\\\\?\\UNC\\server\\share\\a", 21, true, false, u"\\\\?\\UNC\\server\\share\\", u"a"},
        {u"\\\\.\\PHYSICALDRIVE0", 18, true, true, u"\\\\.\\PHYSICALDRIVE0", u""},
        {u"1:\\x", 0, false, false, u"1:", u"x"},
    };
    for (const Case& row : cases) {
        EXPECT_EQ(RootLength(row.path), row.rootLength) << ToUtf8(row.path);
        EXPECT_EQ(IsAbsolutePath(row.path), row.isAbsolute) << ToUtf8(row.path);
        EXPECT_EQ(IsRootPath(row.path), row.isRoot) << ToUtf8(row.path);
        EXPECT_EQ(FolderOf(row.path), row.folder);
        EXPECT_EQ(FileName(row.path), row.name);
    }
    EXPECT_EQ(JoinPath(u"C:", u"x"), u"C:x");
    EXPECT_EQ(JoinPath(u"C:\\", u"x"), u"C:\\x");
    EXPECT_EQ(JoinPath(u"\\\\server\\share", u"x"), u"\\\\server\\share\\x");
    EXPECT_EQ(FullPath(u"c:/a/../b/"), u"c:\\b");
    EXPECT_EQ(FullPath(u"C:\\"), u"C:\\");
}

TEST(WindowsPaths, ReachesBeyond260Units) {
    Text folder = JoinPath(SystemTempFolder(), u"tovlark-long");
    const Text top = folder;
    for (int depth = 0; depth < 8; ++depth) folder = JoinPath(folder, Text(60, u'd'));
    ASSERT_FALSE(CreateFolders(folder).failed());
    const Text path = JoinPath(folder, u"file.bin");
    NewFile file;
    ASSERT_FALSE(file.create(path).failed());
    ASSERT_FALSE(file.commit().failed());
    FileInfo info;
    EXPECT_FALSE(GetFileInfo(path, info).failed());
    std::size_t count = 0;
    EXPECT_FALSE(ListFolder(folder, [&count](const FolderEntry&) { return ++count, true; }).failed());
    EXPECT_EQ(count, 1u);
    EXPECT_FALSE(RemoveFile(path).failed());
}

}  // namespace
}  // namespace tovlark
