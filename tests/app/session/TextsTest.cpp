#include <gtest/gtest.h>

#include "app/session/Texts.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

std::string Utf16(TextView text, bool isLittle) {
    std::string bytes;
    for (const char16_t unit : Text(u"\uFEFF") + Text(text)) {
        const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
        bytes += isLittle ? low : high;
        bytes += isLittle ? high : low;
    }
    return bytes;
}

TEST(LanguageFile, ReadsEveryEncoding) {
    const Text file = u"[Language]\r\nId=1031\r\n[String]\r\n16=Ausf\u00FChrung \U0001F4BF\r\n";
    const std::string utf8 = ToUtf8(file);
    for (const std::string& bytes : {utf8, "\xEF\xBB\xBF" + utf8, Utf16(file, true), Utf16(file, false)}) {
        const LanguageFile read = LanguageFile::parse(bytes);
        EXPECT_EQ(read.languageId(), 1031u) << bytes;
        EXPECT_EQ(read.string(16), u"Ausf\u00FChrung \U0001F4BF") << bytes;
    }
}

TEST(LanguageFile, KeepsSectionsApartAndSkipsNonsense) {
    const LanguageFile file = LanguageFile::parse(
        "1=before any section\n[String]\n; 2=comment\n1= a\\tb\\\\n\\x \nnothing\n=x\n-3=y\n4=\n5=one\n5=two\n6=\"  in "
        "\"\n"
        "99999999999=z\n[DIALOG_7]\n1=d\n[MENU_7]\n1=m\n[MENU_]\n1=n\n[Other]\n8=o\n[String]\n9=again\n[DIALOG_7");
    EXPECT_EQ(file.string(1), u"a\tb\\n\\x");
    EXPECT_EQ(file.string(2).data(), nullptr);
    EXPECT_EQ(file.string(4).data(), nullptr) << "not translated";
    EXPECT_EQ(file.string(5), u"one");
    EXPECT_EQ(file.string(6), u"  in ");
    EXPECT_EQ(file.string(8).data(), nullptr);
    EXPECT_EQ(file.string(9), u"again");
    EXPECT_EQ(file.dialog(7, 1), u"d");
    EXPECT_EQ(file.menu(7, 1), u"m");
    EXPECT_EQ(file.menu(0, 1).data(), nullptr);
    EXPECT_EQ(file.languageId(), 0u);
}

TEST(Texts, AWordingWithOtherConversionsIsNotUsed) {
    const std::string number = std::to_string(NumberOf(TextId::CannotAnswerYes));
    const auto shown = [&](const std::string& wording) {
        return Texts(LanguageFile::parse("[String]\n" + number + "=" + wording))
            .format(TextId::CannotAnswerYes, {u"q"});
    };
    const Text builtIn = FormatText(BuiltInText(TextId::CannotAnswerYes), {u"q"});
    EXPECT_EQ(shown("Geht nicht: %s"), u"Geht nicht: q");
    for (const char* wrong : {"Geht nicht", "%d", "%s %s", "100%"}) EXPECT_EQ(shown(wrong), builtIn) << wrong;
}

TEST(Texts, TheTemplateReadsBackAsTheBuiltInTexts) {
    const LanguageFile file = LanguageFile::parse(ToUtf8(LanguageTemplate()));
    for (int id = 0; id < static_cast<int>(TextId::Count); ++id)
        EXPECT_EQ(file.string(NumberOf(static_cast<TextId>(id))), BuiltInText(static_cast<TextId>(id)));
}

TEST(LoadLanguage, TakesTheExactLanguageElseARelatedOne) {
    TempFolder folder;
    folder.write("a.ini", "[Language]\nId=2055\n[String]\n16=Swiss");
    folder.write("b.INI", "[Language]\nId=1031\n[String]\n16=German");
    folder.write("c.ini", "[Language]\nId=1036\n[String]\n16=French");
    folder.write("d.txt", "[Language]\nId=1041\n[String]\n16=Japanese");
    folder.write("e.ini", "[Language]\nId=1033\n[String]\n16=English");
    std::filesystem::create_directory(folder / "f.ini");
    const Text path = folder.path().u16string();
    struct Case {
        std::uint32_t id;
        TextView word;
    };
    for (const Case& row : {Case{1031, u"German"},
                            {2055, u"Swiss"},
                            {3079, u"Swiss"},
                            {1036, u"French"},
                            {1041, {}},
                            {0, {}},
                            {1033, {}},
                            {2057, {}}})
        EXPECT_EQ(LoadLanguage(row.id, path).string(16), row.word) << row.id;
    EXPECT_EQ(LoadLanguage(1031, path + u"/missing").string(16).data(), nullptr);
}

}  // namespace
}  // namespace tovlark
