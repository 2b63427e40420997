// The programs in another language, with the language files that lie beside them.
#include <gmock/gmock.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using std::filesystem::path;
using testing::HasSubstr;
using testing::Not;

constexpr int kFailed = 255;

class Language : public testing::Test {
protected:
    void SetUp() override {
        if (TestingWindowsPrograms()) GTEST_SKIP() << "settings and code page belong to the system there";
    }
    ProgramEnd run(const std::string& program, const std::vector<std::string>& words, const std::string& input = {},
                   const path& folder = OurProgramFolder()) const {
        return RunProgram({.words = OurProgram(program, words, folder),
                           .input = input,
                           .environment = {{"XDG_CONFIG_HOME", settings_.path()}},
                           .folder = folder_.path()});
    }
    void choose(const std::string& language) const {
        EXPECT_EQ(run("tvset", {"set", "Language", language}).output, "Language = " + language + "\n");
    }

    TempFolder settings_, folder_;
};

TEST_F(Language, GermanTextsWithTheAnswersOfEveryLanguage) {
    choose("1031");
    const ProgramEnd unknown = run("tvcmd", {"frobnicate"});
    EXPECT_THAT(unknown.output, HasSubstr("\r\nUnbekannter Parameter: frobnicate\r\n"));
    EXPECT_EQ(unknown.status, kFailed);
    EXPECT_THAT(run("tvcmd", {"-?"}).output, HasSubstr(" -eject        Disc nach dem Brennen auswerfen.\r\n"));

    folder_.write("tree/a.txt", "content");
    folder_.write("x.iso", "old");
    const ProgramEnd made = run("tvcmd", {"create", "-o", "x.iso", "-add", "tree", "/"}, "ja\nYes\n");
    EXPECT_THAT(made.output, HasSubstr("x.iso ersetzen? (Yes/No/YesAll/NoAll/Cancel):"));
    EXPECT_EQ(made.status, 0);
    EXPECT_GT(folder_.read("x.iso").size(), 32768u);
}

TEST_F(Language, TheFrontEndSpeaksItToo) {
    choose("1031");
    const path alone = folder_ / "alone";
    std::filesystem::create_directory(alone);
    std::filesystem::copy_file(ProgramFile("tvcmd"), ProgramFile("tvcmd", alone));
    std::filesystem::copy(OurProgramFolder() / "Lang", alone / "Lang");
    const ProgramEnd end = run("tvcmd", {"automount"}, {}, alone);
    EXPECT_THAT(end.errors, HasSubstr("Das Programm wurde nicht gefunden: "));
    EXPECT_EQ(end.status, kFailed);
}

TEST_F(Language, JapaneseNamesAndLabelsAreCodePage932) {
    // The second byte of the first character is a backslash.
    const std::string name = "\xE8\xA1\xA8\xE8\xA8\x88.txt", inPage932 = "\x95\x5C\x8C\x76";
    folder_.write("tree/" + name, "content");
    const std::vector<std::string> words = {"create", "-y",     "-o", "x.iso", "-label", "\xE8\xA1\xA8\xE8\xA8\x88",
                                            "-add",   "tree/.", "/"};
    EXPECT_EQ(run("tvcmd", words).status, 0);
    EXPECT_THAT(folder_.read("x.iso"), Not(HasSubstr(inPage932))) << "code page 1252 has none of it";

    choose("1041");
    const ProgramEnd end = run("tvcmd", words);
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.output, HasSubstr("\xE3\x82\xA4\xE3\x83\xA1\xE3\x83\xBC\xE3\x82\xB8"));  // "image" in katakana
    const std::string image = folder_.read("x.iso");
    EXPECT_THAT(image, HasSubstr(std::string("\x08", 1) + inPage932 + ".TXT"));  // length and name of the record
    EXPECT_EQ(image.substr(32768 + 40, 32), inPage932 + std::string(28, ' ')) << "volume identifier";
}

TEST_F(Language, ColumnsOfWideCharactersStayInLine) {
    choose("1041");
    const std::string list = run("tvset", {"list"}).output;
    // Four columns of heading, filled up to the longest name and two more.
    EXPECT_THAT(list, testing::StartsWith("\xE5\x90\x8D\xE5\x89\x8D" + std::string(24, ' ')));
    EXPECT_THAT(list, HasSubstr("\nVerifyData" + std::string(18, ' ') + "1 "));
}

}  // namespace
}  // namespace tovlark
