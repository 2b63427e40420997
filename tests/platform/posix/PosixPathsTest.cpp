#include <cstdlib>
#include <gtest/gtest.h>

#include "platform/Paths.h"

namespace tovlark {
namespace {

TEST(PosixPaths, ResolvesByWords) {
    struct Case {
        TextView path, full;
    };
    const Case cases[] = {{u"/", u"/"},
                          {u"//", u"/"},
                          {u"/../..", u"/"},
                          {u"/a/../../b", u"/b"},
                          {u"/a/b/..", u"/a"},
                          {u"/a/...", u"/a/..."},
                          {u"/a/./", u"/a"},
                          {u"/a\\..\\b", u"/a\\..\\b"},
                          {u"/\xDCE9", u"/\xDCE9"}};
    for (const Case& row : cases) EXPECT_EQ(FullPath(row.path), row.full);
    EXPECT_TRUE(IsRootPath(u"/"));
    EXPECT_TRUE(IsRootPath(u"//"));
    EXPECT_FALSE(IsRootPath(u""));
    EXPECT_FALSE(IsAbsolutePath(u"C:\\x"));
}

TEST(PosixPaths, MakesRecordedNamesHarmless) {
    struct Case {
        Text recorded, local;
    };
    const Case cases[] = {{u"plain name.txt", u"plain name.txt"},
                          {u"", u"_"},
                          {u".", u"_"},
                          {u"..", u"__"},
                          {u"...", u"..."},
                          {u"../../etc/passwd", u".._.._etc_passwd"},
                          {u"a\n\x1B[1mb", u"a__[1mb"},
                          {Text(u"a\0b", 3), u"a_b"},
                          {u"con", u"con"},
                          {Text(300, u'n'), Text(255, u'n')},
                          {Text(100, u'\u4E16'), Text(85, u'\u4E16')}};
    for (const Case& row : cases) EXPECT_EQ(LocalName(row.recorded), row.local);
    EXPECT_NE(LocalNameKey(u"a"), LocalNameKey(u"A"));
    EXPECT_EQ(CutName(u"a\U0001F4BF", 4), u"a");  // never half a character
    EXPECT_EQ(CutName(u"a\U0001F4BF", 5), u"a\U0001F4BF");
}

// Sets a variable of the environment for one scope.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old, wasSet_ = true;
        value != nullptr ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    ~Variable() { wasSet_ ? ::setenv(name_, old_.c_str(), 1) : ::unsetenv(name_); }

private:
    const char* name_;
    std::string old_;
    bool wasSet_ = false;
};

TEST(PosixPaths, FollowsTheEnvironment) {
    const Variable home("HOME", "/home/someone"), temp("TMPDIR", "/scratch/");
    EXPECT_EQ(SystemTempFolder(), u"/scratch");
    {
        const Variable configuration("XDG_CONFIG_HOME", "/etc/some\xE9");
        EXPECT_EQ(ConfigurationFolder(), Text(u"/etc/some\xDCE9/tovlark"));
    }
    {
        const Variable configuration("XDG_CONFIG_HOME", "relative/is/ignored");
        EXPECT_EQ(ConfigurationFolder(), u"/home/someone/.config/tovlark");
    }
    const Variable noConfiguration("XDG_CONFIG_HOME", nullptr), noTemp("TMPDIR", nullptr);
    EXPECT_EQ(ConfigurationFolder(), u"/home/someone/.config/tovlark");
    EXPECT_EQ(SystemTempFolder(), u"/var/tmp");
}

}  // namespace
}  // namespace tovlark
