#include <windows.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "platform/Paths.h"
#include "platform/SettingsBacking.h"

namespace tovlark {
namespace {

constexpr const wchar_t* kTestKey = L"Software\\Tovlark\\SelfTest";
constexpr TextView kKey = u"SelfTest\\Deep";

class RegistrySettings : public testing::Test {
protected:
    ~RegistrySettings() override { RegDeleteTreeW(HKEY_CURRENT_USER, kTestKey); }
    std::unique_ptr<SettingsBacking> store_ = OpenSettings();
};

TEST_F(RegistrySettings, KeepsEachKindUnderItsOwnType) {
    EXPECT_TRUE(store_->writeNumber(kKey, u"number", 0xFFFFFFFE));
    EXPECT_TRUE(store_->writeText(kKey, u"text", u" \"as it is\" \r\n\u20AC\U0001F4BF"));
    EXPECT_FALSE(store_->writeText(kKey, u"text", TextView(u"a\0b", 3)));
    const std::vector<std::byte> block(1000, std::byte{0xA5});
    EXPECT_TRUE(store_->writeBinary(kKey, u"block", block));
    EXPECT_TRUE(store_->writeBinary(kKey, u"nothing", {}));

    std::uint32_t number = 0;
    Text text;
    std::vector<std::byte> bytes;
    EXPECT_TRUE(store_->readNumber(kKey, u"Number", number));
    EXPECT_EQ(number, 0xFFFFFFFE);
    EXPECT_TRUE(store_->readText(kKey, u"text", text));
    EXPECT_EQ(text, u" \"as it is\" \r\n\u20AC\U0001F4BF");
    EXPECT_TRUE(store_->readBinary(kKey, u"block", bytes));
    EXPECT_EQ(bytes, block);
    EXPECT_TRUE(store_->readBinary(kKey, u"nothing", bytes));
    EXPECT_TRUE(bytes.empty());

    DWORD size = 0;
    EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, L"Software\\Tovlark\\SelfTest\\Deep", L"number", RRF_RT_REG_DWORD,
                           nullptr, nullptr, &size),
              ERROR_SUCCESS);
}

TEST_F(RegistrySettings, AValueOfAnotherTypeIsNotRead) {
    EXPECT_TRUE(store_->writeText(kKey, u"x", u"1"));
    std::uint32_t number = 7;
    std::vector<std::byte> bytes;
    EXPECT_FALSE(store_->readNumber(kKey, u"x", number));
    EXPECT_FALSE(store_->readBinary(kKey, u"x", bytes));
    EXPECT_FALSE(store_->readNumber(kKey, u"missing", number));
    EXPECT_FALSE(store_->readNumber(u"SelfTest\\Missing", u"x", number));
    EXPECT_EQ(number, 7u);
    EXPECT_TRUE(store_->writeNumber(kKey, u"x", 1)) << "another kind is replaced";
    EXPECT_TRUE(store_->readNumber(kKey, u"x", number));
    EXPECT_EQ(number, 1u);
}

TEST_F(RegistrySettings, ThePortableFileTakesOverWhenItSaysSo) {
    const std::filesystem::path file(JoinPath(ProgramFolder(), u"tovlark.ini"));
    ASSERT_TRUE(store_->writeNumber(kKey, u"where", 1));
    for (const auto& [version, expected] : {std::pair{"1", 2u}, {"0", 1u}, {"yes", 1u}}) {
        std::ofstream(file) << "[Settings]\r\nPortableVersion=" << version << "\r\n[SelfTest\\Deep]\r\nwhere=2\r\n";
        std::uint32_t number = 0;
        EXPECT_TRUE(OpenSettings()->readNumber(kKey, u"where", number)) << version;
        EXPECT_EQ(number, expected) << version;
    }
    std::filesystem::remove(file);
}

TEST_F(RegistrySettings, AnOldFileInTheNarrowCodePageRefusesWhatItCannotHold) {
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "tovlark-narrow.ini";
    std::ofstream(file) << "[Settings]\r\nx=old\r\n";
    const std::unique_ptr<SettingsBacking> store = OpenIniSettings(file.u16string());
    EXPECT_FALSE(store->writeText({}, u"x", u"\u65E5\u672C"));
    Text text;
    EXPECT_TRUE(store->readText({}, u"x", text));
    EXPECT_EQ(text, u"old");
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace tovlark
