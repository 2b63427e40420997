#include <array>
#include <gtest/gtest.h>
#include <set>

#include "app/session/MessageLog.h"
#include "app/session/Settings.h"
#include "app/session/SettingsStore.h"
#include "support/FakeSession.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

SettingsStore StoreOver(const TempFolder& folder) {
    return SettingsStore(OpenIniSettings((folder / "tovlark.ini").u16string()));
}

// The lines of the file. Windows' own writer makes it UTF-16 with CR LF.
std::string Lines(const TempFolder& folder) {
    std::string bytes = folder.read("tovlark.ini");
    if (bytes.starts_with("\xFF\xFE")) std::erase(bytes.erase(0, 2), '\0');
    std::erase(bytes, '\r');
    return bytes;
}

TEST(SettingsStore, ReadsOutsideTheRangeOrOfAnotherTypeGiveTheDefault) {
    constexpr IntSetting kOggSampleRate{u"OggSampleRate", 0, 8000, 48000};
    constexpr IntSetting kAny{u"Any", 7, 0, 0xFFFFFFFF};
    struct Case {
        std::string stored;
        IntSetting setting;
        std::uint32_t value;
    };
    const Case cases[] = {
        {"BurnBuffer=4", kBurnBuffer, 8},
        {"BurnBuffer=2048", kBurnBuffer, 8},
        {"BurnBuffer=1024", kBurnBuffer, 1024},
        {"burnbuffer = 16 ", kBurnBuffer, 16},
        {"OggSampleRate=0", kOggSampleRate, 0},
        {"OggSampleRate=96000", kOggSampleRate, 0},
        {"OggSampleRate=44100", kOggSampleRate, 44100},
        {"Any=4294967295", kAny, 4294967295u},
        {"Any=4294967296", kAny, 7},
        {"Any=-1", kAny, 7},
        {"Any=12abc", kAny, 7},
        {"Any=", kAny, 7},
        {"Any=0x10", kAny, 7},
        {"Any=+1", kAny, 7},
        {"Any=1 2", kAny, 7},
        {";Any=1", kAny, 7},
        {"[Other]\nAny=1", kAny, 7},
    };
    for (const Case& row : cases) {
        TempFolder folder;
        folder.write("tovlark.ini", "[Settings]\n" + row.stored + "\n");
        EXPECT_EQ(StoreOver(folder).getInt(row.setting), row.value) << row.stored;
    }
}

TEST(SettingsStore, EveryReadSeesTheLastWrite) {
    TempFolder folder;
    SettingsStore store = StoreOver(folder), other = StoreOver(folder);
    for (std::uint32_t value = 0; value < 5; ++value) {
        ASSERT_TRUE(store.setInt(u"TimeFixed", value));
        EXPECT_EQ(other.getInt(kTimeFixed), value);
    }
    EXPECT_TRUE(store.setInt(u"Width", 0xFFFFFFFF, u"ViewSettings\\AudioCDView"));
    EXPECT_EQ(other.getIntIn(u"Width", 1, u"ViewSettings\\AudioCDView"), 0xFFFFFFFF);
    EXPECT_EQ(other.getIntIn(u"Width", 1, {}), 1u);
    EXPECT_EQ(Lines(folder), "[Settings]\nTimeFixed=4\n[ViewSettings\\AudioCDView]\nWidth=4294967295\n");
}

TEST(SettingsStore, ATooShortTextCountsAsMissing) {
    TempFolder folder;
    SettingsStore store = StoreOver(folder);
    EXPECT_EQ(store.getString(kAudioFileNameFormat), u"|#-|t");
    EXPECT_TRUE(store.setString(kAudioFileNameFormat.name, u"x"));
    EXPECT_EQ(store.getString(kAudioFileNameFormat), u"|#-|t");
    EXPECT_TRUE(store.setString(kAudioFileNameFormat.name, u"|t"));
    EXPECT_EQ(store.getString(kAudioFileNameFormat), u"|t");
}

TEST(SettingsStore, BinaryIsCutToTheBuffer) {
    TempFolder folder;
    SettingsStore store = StoreOver(folder);
    std::array<std::byte, 4> buffer{};
    EXPECT_EQ(store.getBinary(u"EraseTime", buffer), 0u);
    const std::array bytes{std::byte{0x00}, std::byte{0xAB}, std::byte{0xFF}, std::byte{0x10}, std::byte{0x7E}};
    EXPECT_TRUE(store.setBinary(u"EraseTime", bytes));
    EXPECT_EQ(Lines(folder), "[Settings]\nEraseTime=00ABFF107E\n");
    EXPECT_EQ(store.getBinary(u"EraseTime", buffer), 4u);
    EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), bytes.begin()));
}

TEST(SettingsStore, ResetAsksFirstAndWritesTheDefaults) {
    const auto run = [](const char* answer, FakeSession& fake) {
        fake.streams.input = answer;
        fake.fakeSettings.put(u"VerifyData", 0u);
        fake.fakeSettings.put(u"BurnBuffer", 512u);
        fake.fakeSettings.put(u"RockRidge", 1u);
        fake.fakeSettings.put(u"MainWindow", std::vector{std::byte{1}});
        return ResetToDefaults(fake.session, fake.settings);
    };
    FakeSession declined;
    EXPECT_EQ(run("n\n", declined), ResetOutcome::Declined);
    EXPECT_EQ(declined.settings.getInt(kBurnBuffer), 512u);
    FakeSession agreed;
    EXPECT_EQ(run("y\n", agreed), ResetOutcome::Done);
    EXPECT_EQ(agreed.streams.output,
              "Are you sure you want to reset the application to the default configuration?(y/n): ");
    const std::map<std::pair<Text, Text>, FakeSettings::Value> expected{
        {{u"", u"VerifyData"}, 1u},
        {{u"", u"EjectAfterBurn"}, 1u},
        {{u"", u"BurnBuffer"}, 8u},
        {{u"", u"RockRidge"}, 1u},
        {{u"", u"MainWindow"}, std::vector<std::byte>{}}};
    EXPECT_EQ(agreed.fakeSettings.values, expected);
}

TEST(Settings, RowsHoldTogether) {
    std::set<Text> names;
    for (const SettingRow& row : AllSettings()) {
        const std::string name = ToUtf8(row.name);
        EXPECT_TRUE(names.insert(UpperCase(row.name)).second) << name;
        EXPECT_LE(row.minimum, row.maximum) << name;
        EXPECT_TRUE(row.textFallback.empty() || row.textFallback.size() >= row.minimumLength) << name;
        EXPECT_EQ(FindSetting(UpperCase(row.name)), &row) << name;
    }
    EXPECT_EQ(FindSetting(u"Verify"), nullptr);
}

TEST(MessageLog, KeepsTheLatestLinesInLocalTime) {
    FakeSession fake;
    fake.fakeClock.offsetSeconds = 3600;
    for (std::size_t index = 0; index < MessageLog::kMaximumLines + 2; ++index)
        fake.log.append(FormatText(u"line %u", {index}));
    EXPECT_EQ(fake.log.lines().size(), MessageLog::kMaximumLines);
    fake.log.append(u"\r\nCannot copy\r\n\r\nthis\r\n");
    EXPECT_EQ(fake.log.lines().back().text, u"Cannot copy this");
    EXPECT_TRUE(fake.log.render().starts_with("2023-11-14 23:13:20 line 3\r\n2023-11-14 23:13:20 line 4\r\n"));
}

}  // namespace
}  // namespace tovlark
