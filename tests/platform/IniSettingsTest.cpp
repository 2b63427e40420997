#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "platform/SettingsBacking.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

std::unique_ptr<SettingsBacking> Open(const TempFolder& folder) {
    return OpenIniSettings((folder / "deep" / "tovlark.ini").u16string());
}

TEST(IniSettings, KeepsEveryTextExactlyOrRefusesIt) {
    const Text kept[] = {u"",      u"plain", u"a = b",   u"[Settings]",   u"; not a comment", u"in \"the\" middle",
                         u"\"one", u"a\tb",  u"C:\\x\\", u"\u00E4\u20AC", u"\U0001F4BF",      u"%s|#-|t"};
    const Text refused[] = {u" leading", u"trailing ",  u"\ttab",        u"\"quoted\"", u"'quoted'",
                            u"\"\"",     u"two\nlines", u"two\r\nlines", u"cr\r",       Text(u"n\0l", 3)};
    TempFolder folder;
    const auto store = Open(folder);
    for (const Text& text : kept) {
        EXPECT_TRUE(store->writeText({}, u"TempFolder", text)) << ToUtf8(text);
        Text read = u"?";
        EXPECT_TRUE(Open(folder)->readText({}, u"TEMPFOLDER", read)) << ToUtf8(text);
        EXPECT_EQ(read, text);
    }
    for (const Text& text : refused) {
        EXPECT_FALSE(store->writeText({}, u"TempFolder", text)) << ToUtf8(text);
        Text read;
        EXPECT_TRUE(store->readText({}, u"TempFolder", read));
        EXPECT_EQ(read, kept[std::size(kept) - 1]) << "the old value stays";
    }
}

TEST(IniSettings, RefusesNamesThatALineCannotHold) {
    TempFolder folder;
    const auto store = Open(folder);
    for (const char16_t* name : {u"", u"a=b", u"[a", u";a", u" a", u"a\nb"})
        EXPECT_FALSE(store->writeNumber({}, name, 1)) << ToUtf8(name);
    for (const char16_t* key : {u"a]b", u"a\nb"}) EXPECT_FALSE(store->writeNumber(key, u"a", 1)) << ToUtf8(key);
    std::uint32_t number = 0;
    EXPECT_FALSE(store->readNumber({}, u"a", number));
}

TEST(IniSettings, KeysAreSectionsOfTheirOwn) {
    TempFolder folder;
    const auto store = Open(folder);
    std::uint32_t number = 0;
    EXPECT_FALSE(store->readNumber({}, u"Width", number));
    EXPECT_TRUE(store->writeNumber({}, u"Width", 1));
    EXPECT_TRUE(store->writeNumber(u"ViewSettings\\AudioCDView", u"Width", 4294967295));
    EXPECT_TRUE(store->readNumber(u"viewsettings\\audiocdview", u"width", number));
    EXPECT_EQ(number, 4294967295u);
    EXPECT_TRUE(store->readNumber(u"Settings", u"Width", number));
    EXPECT_EQ(number, 1u);
}

TEST(IniSettings, AValueOfAnotherKindIsNotRead) {
    TempFolder folder;
    const auto store = Open(folder);
    std::uint32_t number = 7;
    std::vector<std::byte> bytes{std::byte{7}};
    for (const char16_t* word :
         {u"", u"-1", u"+1", u"12abc", u"0x10", u"4294967296", u"1.5", u"99999999999999999999"}) {
        ASSERT_TRUE(store->writeText({}, u"x", word));
        EXPECT_FALSE(store->readNumber({}, u"x", number)) << ToUtf8(word);
    }
    for (const char16_t* word : {u"0", u"0G", u"AB C", u"AB,CD"}) {
        ASSERT_TRUE(store->writeText({}, u"x", word));
        EXPECT_FALSE(store->readBinary({}, u"x", bytes)) << ToUtf8(word);
    }
    EXPECT_EQ(number, 7u);
    EXPECT_EQ(bytes.size(), 1u);
    ASSERT_TRUE(store->writeText({}, u"x", u"00aBfF"));
    EXPECT_TRUE(store->readBinary({}, u"x", bytes));
    EXPECT_EQ(bytes, (std::vector{std::byte{0x00}, std::byte{0xAB}, std::byte{0xFF}}));
}

TEST(IniSettings, ALongBinaryValueComesBackWhole) {
    TempFolder folder;
    std::vector<std::byte> bytes, read;
    for (int index = 0; index < 5000; ++index) bytes.push_back(static_cast<std::byte>(index * 7));
    EXPECT_TRUE(Open(folder)->writeBinary({}, u"MainWindow", bytes));
    EXPECT_TRUE(Open(folder)->readBinary({}, u"MainWindow", read));
    EXPECT_EQ(read, bytes);
}

TEST(IniSettings, ABadFileReadsAsEmptyAndIsNotOverwritten) {
    const std::string garbage(
        "\x7F"
        "ELF\0[Settings]\nVerifyData=0\n",
        30);
    const std::string huge = "[Settings]\nVerifyData=0\n" + std::string(5 << 20, ';');
    for (const std::string& bytes : {garbage, huge}) {
        TempFolder folder;
        folder.write("deep/tovlark.ini", bytes);
        const auto store = Open(folder);
        std::uint32_t number = 7;
        EXPECT_FALSE(store->readNumber({}, u"VerifyData", number));
        EXPECT_FALSE(store->writeNumber({}, u"VerifyData", 1));
        EXPECT_EQ(folder.read("deep/tovlark.ini"), bytes);
        const auto fault = store->fault();
        ASSERT_TRUE(fault);
        EXPECT_EQ(fault->error.failed(), bytes == huge) << "the other one is no text";
    }
    TempFolder folder;
    EXPECT_FALSE(Open(folder)->fault()) << "no file yet";
    std::filesystem::create_directories(folder / "deep" / "tovlark.ini");
    EXPECT_FALSE(Open(folder)->writeNumber({}, u"VerifyData", 1));
    EXPECT_TRUE(Open(folder)->fault());
}

TEST(IniSettings, WritersAtTheSameTimeLoseNothing) {
    constexpr std::uint32_t kWriters = 4, kRounds = 25;
    const auto nameOf = [](std::uint32_t writer, std::uint32_t round) {
        return Text{u'w', static_cast<char16_t>(u'a' + writer), static_cast<char16_t>(u'a' + round)};
    };
    TempFolder folder;
    std::vector<std::thread> writers;
    for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([&folder, &nameOf, writer] {
            const auto store = Open(folder);
            for (std::uint32_t round = 0; round < kRounds; ++round)
                EXPECT_TRUE(store->writeNumber({}, nameOf(writer, round), round));
        });
    }
    for (std::thread& writer : writers) writer.join();
    const auto store = Open(folder);
    for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
        for (std::uint32_t round = 0; round < kRounds; ++round) {
            std::uint32_t number = kRounds;
            EXPECT_TRUE(store->readNumber({}, nameOf(writer, round), number));
            EXPECT_EQ(number, round);
        }
    }
}

}  // namespace
}  // namespace tovlark
