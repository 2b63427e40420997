#include <gtest/gtest.h>

#include "platform/Paths.h"

namespace tovlark {
namespace {

// What holds on every system, written with "/" (which every system takes) and compared with the system's own separator.
Text Native(TextView path) {
    Text native(path);
    for (char16_t& unit : native)
        if (unit == u'/') unit = kPathSeparator;
    return native;
}

TEST(Paths, JoinsWithOneSeparator) {
    struct Case {
        TextView folder, name, expected;
    };
    const Case cases[] = {
        {u"a", u"b", u"a/b"}, {u"a/", u"b", u"a/b"}, {u"a//", u"/b", u"a/b"},
        {u"", u"b", u"b"},    {u"/", u"b", u"/b"},   {u"a/b", u"c/d", u"a/b/c/d"},
    };
    for (const Case& row : cases) EXPECT_EQ(JoinPath(Native(row.folder), Native(row.name)), Native(row.expected));
}

TEST(Paths, TakesPathsApart) {
    struct Case {
        TextView path, folder, name, extension;
    };
    const Case cases[] = {
        {u"/a/b.iso", u"/a", u"b.iso", u"iso"},
        {u"/a/b/", u"/a", u"b", u""},
        {u"/a//b//", u"/a", u"b", u""},
        {u"/a", u"/", u"a", u""},
        {u"a", u"", u"a", u""},
        {u"/", u"/", u"", u""},
        {u"", u"", u"", u""},
        {u"./x", u".", u"x", u""},
        {u"a.b/c", u"a.b", u"c", u""},  // a dot of the folder is no extension
        {u"a.tar.gz", u"", u"a.tar.gz", u"gz"},
        {u".profile", u"", u".profile", u"profile"},
        {u"dot.", u"", u"dot.", u""},
        {u"x/💿.ISO", u"x", u"💿.ISO", u"ISO"},
    };
    for (const Case& row : cases) {
        const Text path = Native(row.path);
        EXPECT_EQ(FolderOf(path), Native(row.folder)) << ToUtf8(path);
        EXPECT_EQ(FileName(path), row.name) << ToUtf8(path);
        EXPECT_EQ(ExtensionOf(path), row.extension) << ToUtf8(path);
    }
}

TEST(Paths, MakesPathsFullAgainstTheCurrentFolder) {
    const Text here = FullPath(u"");
    EXPECT_TRUE(IsAbsolutePath(here));
    EXPECT_EQ(FullPath(u"."), here);
    EXPECT_EQ(FullPath(u"x/./y//../z/"), JoinPath(JoinPath(here, u"x"), u"z"));
    EXPECT_EQ(FullPath(u"../x"), JoinPath(FolderOf(here), u"x"));
    EXPECT_TRUE(IsRootPath(FullPath(u"/..")));
    EXPECT_FALSE(IsRootPath(here + kPathSeparator + u"x"));
}

TEST(Paths, FindsTheFoldersOfTheProgram) {
    EXPECT_TRUE(IsAbsolutePath(ProgramFolder()));
    EXPECT_TRUE(IsAbsolutePath(LanguageFolder()));
    const Text temp = SystemTempFolder();
    EXPECT_TRUE(IsAbsolutePath(temp) && !IsPathSeparator(temp.back())) << ToUtf8(temp);
}

}  // namespace
}  // namespace tovlark
