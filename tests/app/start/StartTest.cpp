#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/start/Start.h"
#include "support/FakeSession.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using Words = std::vector<Text>;

TEST(KindOfStart, IsDecidedByTheFirstWords) {
    struct Case {
        const char* fault;
        Words words;
        StartKind kind;
    };
    const Case cases[] = {
        {"no words", {u"tovlark"}, StartKind::Console},
        {"tool bound to the pipes", {u"tovlark", u"-ii1", u"-vwintogo", u"x"}, StartKind::DriveTool},
        {"tool verb compared with case", {u"tovlark", u"-II1", u"-VWUDISK"}, StartKind::DriveTool},
        {"plug-in path not skipped", {u"tovlark", u"-ii1", u"-extract_plugin", u"x"}, StartKind::ExtractPlugin},
        {"plug-in without its name", {u"tovlark", u"-ii1", u"-extract_plugin"}, StartKind::Console},
        {"plug-in with a word too many", {u"tovlark", u"-ii1", u"-extract_plugin", u"x", u"y"}, StartKind::Console},
        {"second internal start taken for a tool", {u"tovlark", u"-ii2", u"-vwintogo"}, StartKind::Console},
        {"verb in another place", {u"tovlark", u"-vwintogo", u"-ii1"}, StartKind::Console},
    };
    for (const Case& one : cases) EXPECT_EQ(KindOfStart(one.words), one.kind) << one.fault;
}

TEST(StartDelay, IsReadFromTheFirstWordOnly) {
    EXPECT_EQ(StartDelay({u"tovlark", u"/sleep=3000"}), 3000u);
    EXPECT_EQ(StartDelay({u"tovlark", u"/sleep=99999999999999999999"}), 60000u);
    EXPECT_EQ(StartDelay({u"tovlark", u"/sleep=-1"}), 0u);
    EXPECT_EQ(StartDelay({u"tovlark", u"x", u"/sleep=3000"}), 0u);
    EXPECT_EQ(StartDelay({u"tovlark"}), 0u);
}

// The system as console mode sees it.
FakeSession* current = nullptr;
bool isFrontEndThere = true, stopsEarly = false;
int bindCount = 0;
std::vector<Text> signalled;

bool Bind() {
    ++bindCount;
    if (stopsEarly) current->flags.cancel = true;
    return isFrontEndThere;
}
SystemError Signal(const Text& name) {
    signalled.push_back(name);
    return name == u"missing" ? SystemError{2} : SystemError{};
}

class ConsoleMode : public testing::Test {
protected:
    ConsoleMode() {
        current = &fake_;
        isFrontEndThere = true;
        stopsEarly = false;
        bindCount = 0;
        signalled.clear();
    }
    ConsoleOutcome enter(const Words& words) { return enterConsoleMode(fake_.task, words, {Bind, Signal}); }

    FakeSession fake_;
};

constexpr char kBanner[] = "\r\nTovlark Version 6.4\r\n            Type tvcmd -? for help\r\n\r\n";

TEST_F(ConsoleMode, PrintsTheBannerThenParses) {
    const ConsoleOutcome outcome = enter({u"tovlark"});
    EXPECT_EQ(outcome.next, AfterConsole::End);
    EXPECT_EQ(outcome.status, -1);
    EXPECT_EQ(fake_.streams.output, std::string(kBanner) + "No parameters.\r\n");
}

TEST_F(ConsoleMode, NamesSettingsThatAreNotRead) {
    fake_.fakeSettings.fault = SettingsFault{u"/x.ini", {}};
    EXPECT_EQ(enter({u"tovlark", u"automount"}).status, 0);
    EXPECT_EQ(fake_.streams.output, std::string(kBanner) +
                                        "The settings in /x.ini cannot be used: it is not a text "
                                        "file in UTF-8. The defaults count.\r\n");
}

TEST_F(ConsoleMode, IsNotEnteredWithoutAFrontEnd) {
    isFrontEndThere = false;
    EXPECT_EQ(enter({u"tovlark", u"automount"}).next, AfterConsole::NotEntered);
    EXPECT_EQ(fake_.streams.output, "");
}

TEST_F(ConsoleMode, AnInternalStartKeepsTheStreamsAndSkipsItsOwnWord) {
    const ConsoleOutcome outcome = enter({u"tovlark", u"-ii2", u"automount"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(bindCount, 0);
    EXPECT_EQ(fake_.streams.output, "");
    // With nothing behind it the word is an ordinary one.
    EXPECT_EQ(enter({u"tovlark", u"-ii2"}).status, -1);
    EXPECT_EQ(bindCount, 1);
}

TEST_F(ConsoleMode, SignalsTheEventAfterEveryRunStepButNotAfterAParseError) {
    struct Case {
        const char* fault;
        Words words;
        bool stops;
        int status;
        std::vector<Text> signalled;
    };
    const Case cases[] = {
        {"success not told", {u"tovlark", u"automount", u"-evt", u"e1"}, false, 0, {u"e1"}},
        {"failure not told", {u"tovlark", u"-evt", u"e2"}, false, -1, {u"e2"}},
        {"command run after a stop", {u"tovlark", u"create_lang_file", u"-evt", u"e3"}, true, -2, {u"e3"}},
        {"bad line told", {u"tovlark", u"-evt", u"e4", u"wrong"}, false, -1, {}},
        {"missing event ends the process", {u"tovlark", u"automount", u"-evt", u"missing"}, false, 0, {u"missing"}},
    };
    for (const Case& one : cases) {
        signalled.clear();
        fake_.flags.cancel = false;
        stopsEarly = one.stops;
        EXPECT_EQ(enter(one.words).status, one.status) << one.fault;
        EXPECT_EQ(signalled, one.signalled) << one.fault;
    }
    EXPECT_THAT(fake_.streams.output, testing::HasSubstr("Cannot signal the event missing: "));
}

TEST_F(ConsoleMode, MessageLogIsAddedToTheFileThatASettingNames) {
    const TempFolder folder;
    const Text path = (folder / "log").u16string();
    fake_.log.append(u"one");
    KeepMessageLog(fake_.task);
    fake_.fakeSettings.put(u"MessageLogFile", path);
    for (int run = 0; run < 2; ++run) KeepMessageLog(fake_.task);
    EXPECT_EQ(fake_.streams.output, "");
    EXPECT_EQ(folder.read("log"), fake_.log.render() + fake_.log.render());
    fake_.fakeSettings.put(u"MessageLogFile", folder.path().u16string());
    KeepMessageLog(fake_.task);
    EXPECT_THAT(fake_.streams.output, testing::StartsWith("The message log cannot be added to "));
}

TEST_F(ConsoleMode, FlagsDecideTheStatus) {
    fake_.flags.error = true;
    EXPECT_EQ(enter({u"tovlark", u"automount"}).status, -1);
    fake_.flags.cancel = true;
    EXPECT_EQ(enter({u"tovlark", u"automount"}).status, -2);
}

TEST_F(ConsoleMode, CreateLangFileGoesOnStarting) {
    const ConsoleOutcome outcome = enter({u"tovlark", u"create_lang_file", u"-o", u"t.ini"});
    EXPECT_EQ(outcome.next, AfterConsole::WriteTemplate);
    EXPECT_EQ(outcome.templatePath, u"t.ini");
}

}  // namespace
}  // namespace tovlark
