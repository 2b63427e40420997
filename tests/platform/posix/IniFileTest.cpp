#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

#include "platform/SettingsBacking.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

std::unique_ptr<SettingsBacking> Open(const TempFolder& folder) {
    return OpenIniSettings((folder / "tovlark.ini").u16string());
}

TEST(IniFile, ChangesOneLineAndNothingElse) {
    struct Case {
        const char* what;
        std::string before, after;
    };
    const Case cases[] = {
        {"empty file", "", "[Settings]\nA=1\n"},
        {"no line end", "[Settings]\nB=2", "[Settings]\nB=2\nA=1\n"},
        {"replaced in place, case and spaces ignored", "; mine\n[settings]\n a = 0 \nB=2\n",
         "; mine\n[settings]\nA=1\nB=2\n"},
        {"added behind the section's last entry", "[Settings]\nB=2\n\n; view\n[View]\nA=0\n",
         "[Settings]\nB=2\nA=1\n\n; view\n[View]\nA=0\n"},
        {"unknown lines and bytes stay", "junk \xFF\n[Settings]\nnonsense\n[broken\n",
         "junk \xFF\n[Settings]\nA=1\nnonsense\n[broken\n"},
        {"first of several", "[Settings]\nA=5\nA=6\n[Settings]\nA=7\n", "[Settings]\nA=1\nA=6\n[Settings]\nA=7\n"},
        {"in the second section of the name", "[Settings]\nB=2\n[Settings]\nA=7\n",
         "[Settings]\nB=2\n[Settings]\nA=1\n"},
        {"CR LF", "[Settings]\r\nB=2\r\n", "[Settings]\r\nB=2\r\nA=1\r\n"},
        {"mark", "\xEF\xBB\xBF[Settings]\nA=2\n", "\xEF\xBB\xBF[Settings]\nA=1\n"},
    };
    for (const Case& row : cases) {
        TempFolder folder;
        folder.write("tovlark.ini", row.before);
        EXPECT_TRUE(Open(folder)->writeNumber({}, u"A", 1)) << row.what;
        EXPECT_EQ(folder.read("tovlark.ini"), row.after) << row.what;
    }
}

TEST(IniFile, KeepsModeAndLinkAndRefusesReadOnlyFiles) {
    TempFolder folder;
    const std::filesystem::path real = folder.write("real.ini", "[Settings]\nA=1\n");
    std::filesystem::create_symlink(real, folder / "tovlark.ini");
    ASSERT_EQ(chmod(real.c_str(), 0640), 0);
    EXPECT_TRUE(Open(folder)->writeNumber({}, u"A", 2));
    struct stat status {};
    ASSERT_EQ(lstat((folder / "tovlark.ini").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(stat(real.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);

    ASSERT_EQ(chmod(real.c_str(), 0444), 0);
    EXPECT_FALSE(Open(folder)->writeNumber({}, u"A", 3));
    EXPECT_EQ(folder.read("real.ini"), "[Settings]\nA=2\n");
}

TEST(IniFile, AFileOfUtf16IsLeftAlone) {
    TempFolder folder;
    const std::string bytes = "\xFF\xFE\xE4\x4E";
    folder.write("tovlark.ini", bytes);
    EXPECT_FALSE(Open(folder)->writeNumber({}, u"A", 1));
    EXPECT_EQ(folder.read("tovlark.ini"), bytes);
}

TEST(OpenSettings, LivesInTheConfigurationFolderOrNowhere) {
    TempFolder folder;
    ASSERT_EQ(setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1), 0);
    EXPECT_TRUE(OpenSettings()->writeNumber({}, u"A", 1));
    EXPECT_EQ(folder.read("tovlark/tovlark.ini"), "[Settings]\nA=1\n");
    std::uint32_t number = 0;
    EXPECT_TRUE(OpenSettings()->readNumber({}, u"A", number));
    EXPECT_FALSE(OpenIniSettings({})->writeNumber({}, u"A", 1));
    EXPECT_FALSE(OpenIniSettings({})->readNumber({}, u"A", number));
}

}  // namespace
}  // namespace tovlark
