#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "app/session/ConsoleSession.h"
#include "support/FakeSession.h"

namespace tovlark {
namespace {

/// A console that keeps every write call apart and marks where a prompt was announced.
struct Console {
    std::vector<std::string> writes;
    std::string input;
    int promptCount = 0;
    int writesUntilGone = 1'000'000;
    std::uint64_t milliseconds = 5000;
    Texts texts;
    Flags flags;
    bool cancelsWhileReading = false;
    ConsoleStreams streams{this, &Console::write, &Console::read,
                           [](void* self) { ++static_cast<Console*>(self)->promptCount; }};
    Clock clock{this, [](void* self) { return static_cast<Console*>(self)->milliseconds; },
                [](void* self, std::uint32_t duration) {
                    auto* console = static_cast<Console*>(self);
                    console->milliseconds += duration;
                    console->writes.push_back("~" + std::to_string(duration));
                },
                [](void*) { return UnixSeconds{0}; }, [](void*, UnixSeconds) { return 0; }};
    ConsoleSession session{streams, texts, clock, flags};

    static bool write(void* self, std::string_view bytes) {
        auto* console = static_cast<Console*>(self);
        if (console->writesUntilGone-- <= 0) return false;
        console->writes.emplace_back(bytes);
        return true;
    }
    static int read(void* self) {
        auto* console = static_cast<Console*>(self);
        if (console->cancelsWhileReading) console->flags.cancel = true;
        if (console->input.empty()) return -1;
        const auto byte = static_cast<unsigned char>(console->input[0]);
        console->input.erase(0, 1);
        return byte;
    }
    std::string all() const {
        std::string text;
        for (const std::string& part : writes) text += part;
        return text;
    }
};

using Writes = std::vector<std::string>;
constexpr std::uint64_t kAllOnes = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint8_t kYesNo = Answer::Yes | Answer::No;
constexpr std::uint8_t kOkCancel = Answer::Ok | Answer::Cancel;

TEST(ConsoleSession, RawTextWaitsForTheNextPrintAndGoesOutInOneCall) {
    Console console;
    console.session.printRaw(u"a");
    console.session.printRaw(u"\u00E4");
    EXPECT_TRUE(console.writes.empty());
    console.session.print(u"b");
    console.session.printLine(u"line");
    console.session.printLine(u"ended\r\n");
    EXPECT_EQ(console.writes, (Writes{"a\xC3\xA4"
                                      "b",
                                      "line\r\n", "ended\r\n"}));
}

TEST(ConsoleSession, RawTextIsNotLostAtTheEnd) {
    Console console;
    Flags flags;
    { ConsoleSession(console.streams, console.texts, console.clock, flags).printRaw(u"last"); }
    EXPECT_EQ(console.writes, Writes{"last"});
}

TEST(ConsoleSession, ProgressRewritesChangedPercentagesOnly) {
    Console console;
    console.session.beginStep(u"Burning", 100);
    for (const std::uint64_t position : {0, 0, 1, 1, 100}) console.session.setProgress(position, 100);
    console.session.finishStep();
    console.session.printDone();
    EXPECT_EQ(console.writes, (Writes{"Burning ...     0%", "\b\b\b\b\b\b    1%", "\b\b\b\b\b\b  100%",
                                      "\b\b\b\b\b\b  100%", " done.\r\n"}));
}

TEST(ConsoleSession, PercentagesAreClampedTruncatedAndDoNotOverflow) {
    struct Case {
        const char* what;
        std::uint64_t position, total;
        const char* shown;
    };
    const Case cases[] = {
        {"above the total", 7, 5, "\b\b\b\b\b\b  100%"},
        {"truncated", 999, 1000, "\b\b\b\b\b\b   99%"},
        {"large amounts", kAllOnes / 2, kAllOnes - 1, "\b\b\b\b\b\b   50%"},
        {"largest below the total", kAllOnes - 2, kAllOnes - 1, "\b\b\b\b\b\b   99%"},
        {"no total", 5, 0, ""},
        {"unknown total", 5, kAllOnes, ""},  // 0, as shown already
        {"unknown total reached", kAllOnes, kAllOnes, ""},
    };
    for (const Case& row : cases) {
        Console console;
        console.session.beginStep(u"x");
        console.writes.clear();
        console.session.setProgress(row.position, row.total);
        EXPECT_EQ(console.all(), row.shown) << row.what;
    }
}

TEST(ConsoleSession, AddedProgressCountsFromEachStepAndSaturates) {
    Console console;
    console.session.beginStep(u"one", 4);
    console.session.addProgress(3);
    console.session.beginStep(u"two", 4);
    console.session.addProgress(1);
    console.session.addProgress(kAllOnes);
    console.session.addProgress(kAllOnes);
    console.session.beginStep(u"three");
    console.session.addProgress(1);  // no total: nothing to show
    EXPECT_EQ(console.all(),
              "one ...     0%\b\b\b\b\b\b   75%two ...     0%\b\b\b\b\b\b   25%\b\b\b\b\b\b  100%three ...     0%");
}

TEST(ConsoleSession, TickPrintsADotAfterMoreThanASecond) {
    Console console;
    console.session.printAndMark(u"Adding");
    console.milliseconds += 1000;
    console.session.tick();
    console.milliseconds += 1;
    console.session.tick();
    console.session.tick();
    EXPECT_EQ(console.writes, (Writes{"Adding", "."}));
}

TEST(ConsoleSession, SignalWaitsBeforeAndAfterTheMarker) {
    Console console;
    console.session.signalResult(true);
    console.session.signalResult(false);
    EXPECT_EQ(console.writes, (Writes{"~100", "<E1>", "~100", "~100", "<E0>", "~100"}));
}

TEST(ConsoleSession, PromptAcceptsOnlyWhatItOffers) {
    struct Case {
        const char* what;
        std::uint8_t offered;
        std::string input;
        Answer answer;
        std::string shown;
        std::string left;
    };
    const std::string yesNo = "Sure?(y/n): ", okCancel = "Sure?(Ok/Cancel): ";
    const Case cases[] = {
        {"capitals", kYesNo, "YES\n", Answer::Yes, yesNo, ""},
        {"CR LF, the rest stays", kYesNo, "n\r\nmore\n", Answer::No, yesNo, "more\n"},
        {"trailing blank refused", kYesNo, "yes \ny\n", Answer::Yes, yesNo + yesNo, ""},
        {"empty line refused", kYesNo, "\r\nno\r\n", Answer::No, yesNo + yesNo, ""},
        {"not offered", kOkCancel, "y\nyes\nO\n", Answer::Ok, okCancel + okCancel + okCancel, ""},
        {"cancel", kOkCancel, "c\n", Answer::Cancel, okCancel, ""},
        {"all four", 15, "ok\n", Answer::Ok, "Sure?(y/n/Ok/Cancel): ", ""},
        {"last line without its end", kYesNo, "y", Answer::Yes, yesNo, ""},
        {"over-long line", kYesNo, std::string(3000, 'y') + "\nn\n", Answer::No, yesNo + yesNo, ""},
        {"over-long line that ends well", kYesNo, "y" + std::string(1 << 16, '\r') + "\nn\n", Answer::No, yesNo + yesNo,
         ""},
    };
    for (const Case& row : cases) {
        Console console;
        console.input = row.input;
        EXPECT_EQ(console.session.prompt(u"Sure?", row.offered), row.answer) << row.what;
        EXPECT_EQ(console.all(), row.shown) << row.what;
        EXPECT_EQ(console.input, row.left) << row.what;
        EXPECT_EQ(console.promptCount, static_cast<int>(console.writes.size())) << row.what;
        EXPECT_EQ(console.flags.cancel, row.answer == Answer::Cancel) << row.what;
    }
}

TEST(ConsoleSession, AnswersOfUpTo2048CharactersAreRead) {
    Console console;
    const Text longest(2048, u'\u20AC');
    console.input = ToUtf8(longest) + "\r\n" + ToUtf8(longest) + "x\n";
    EXPECT_EQ(console.session.readLine(2048), longest);
    EXPECT_EQ(console.session.readLine(2048), u"");
    EXPECT_FALSE(console.flags.cancel);
}

TEST(ConsoleSession, EndOfInputCancelsOnceAndAnswersSafely) {
    Console console;
    const std::string told = "\r\nThe input ended before the question was answered.\r\n";
    EXPECT_EQ(console.session.prompt(u"Retry?", kYesNo), Answer::No);
    EXPECT_TRUE(console.flags.cancel);
    EXPECT_EQ(console.session.prompt(u"Retry?", kYesNo), Answer::No);
    EXPECT_EQ(console.session.prompt(u"Disc?", kOkCancel), Answer::Cancel);
    EXPECT_EQ(console.session.prompt({TextId::ConfirmReset, kYesNo, Answer::Yes}), Answer::Yes);
    EXPECT_EQ(console.session.promptOverwrite(u"a", u"b"), OverwriteAnswer::Cancel);
    EXPECT_EQ(console.all(), "Retry?(y/n): " + told);
    EXPECT_EQ(console.promptCount, 1);
}

TEST(ConsoleSession, ACancelWhileReadingEndsThePromptWithoutAWord) {
    Console console;
    console.input = "";
    console.cancelsWhileReading = true;
    EXPECT_EQ(console.session.prompt(u"Retry?", kYesNo), Answer::No);
    EXPECT_EQ(console.all(), "Retry?(y/n): ");
}

TEST(ConsoleSession, AReaderThatIsGoneCancelsAndIsLeftAlone) {
    Console console;
    console.writesUntilGone = 1;
    console.session.print(u"a");
    EXPECT_FALSE(console.flags.cancel);
    console.input = "y\n";
    EXPECT_EQ(console.session.prompt(u"Sure?", kYesNo), Answer::No);
    EXPECT_TRUE(console.flags.cancel);
    EXPECT_EQ(console.input, "y\n");
    console.writesUntilGone = 5;
    console.session.print(u"b");
    EXPECT_EQ(console.all(), "a");
}

TEST(ConsoleSession, AssumedYesIsShownAndTakenWithoutReading) {
    Console console;
    console.session.assumeYes();
    console.input = "n\n";
    EXPECT_EQ(console.session.prompt(u"Sure?", kYesNo), Answer::Yes);
    EXPECT_EQ(console.session.promptOverwrite(u"Exists", u"/x"), OverwriteAnswer::Yes);
    EXPECT_EQ(console.all(), "Sure?(y/n): YesExists: /x(Yes/No/YesAll/NoAll/Cancel):Yes\r\n");
    EXPECT_EQ(console.input, "n\n");
    EXPECT_EQ(console.promptCount, 0);
}

TEST(ConsoleSessionTest, TakesAnAnswerOfTheListThatATextCarries) {
    struct Row {
        const char* input;
        std::size_t answer;
        bool cancels;
    };
    // The second answer is the one that does no harm.
    constexpr Row kRows[] = {
        {"Yes\n", 0, false}, {"y\n", 0, false}, {"NO\n", 1, false}, {"n\r\n", 1, false}, {"yes \nmaybe\nn\n", 1, false},
        {"", 1, true}};
    for (const Row& row : kRows) {
        FakeSession around;
        around.streams.input = row.input;
        EXPECT_EQ(around.session.promptListed(u"Erase (all)? (Yes/No):", 1), row.answer) << row.input;
        EXPECT_EQ(around.flags.cancel, row.cancels) << row.input;
        EXPECT_TRUE(around.streams.output.starts_with("Erase (all)? (Yes/No):")) << row.input;
    }
    FakeSession around;
    around.session.assumeYes();
    EXPECT_EQ(around.session.promptListed(u"Sure? (Yes/No):", 1), 0u);
    EXPECT_EQ(around.streams.output, "Sure? (Yes/No):Yes\r\n");
    EXPECT_EQ(around.session.promptListed(u"Again? (Abort/Retry/Ignore):", 0), 0u);
    EXPECT_TRUE(around.flags.cancel);
}

TEST(ConsoleSession, ARetryUnderAssumedYesCountsAsNoInTheEnd) {
    Console console;
    console.session.assumeYes();
    for (int count = 0; count < 100; ++count) {
        ASSERT_EQ(console.session.prompt(u"Retry F:?", kYesNo), Answer::Yes) << count;
        ASSERT_EQ(console.session.prompt(u"Retry G:?", kYesNo), Answer::Yes) << count;
    }
    EXPECT_EQ(console.session.prompt(u"Retry F:?", kYesNo), Answer::No);
    EXPECT_FALSE(console.flags.cancel);
    EXPECT_EQ(console.writes.back(), "YesRetry F:?(y/n): No");
}

TEST(ConsoleSession, AQuestionWithoutYesUnderAssumedYesEndsTheRun) {
    Console console;
    console.session.assumeYes();
    EXPECT_EQ(console.session.prompt(u"Insert a disc.", kOkCancel), Answer::Cancel);
    EXPECT_TRUE(console.flags.cancel);
    std::string expected;
    for (int count = 0; count < 100; ++count) expected += "Insert a disc.(Ok/Cancel): Yes";
    EXPECT_EQ(console.all(), expected + "\r\nThis question cannot be answered with \"Yes\" (-y): Insert a disc.\r\n");
}

TEST(ConsoleSession, OverwritePromptTakesItsFiveAnswers) {
    struct Case {
        std::string input;
        OverwriteAnswer answer;
    };
    const Case cases[] = {{"Y\n", OverwriteAnswer::Yes},
                          {"no\n", OverwriteAnswer::No},
                          {"yesall\r\n", OverwriteAnswer::YesToAll},
                          {"NOALL\n", OverwriteAnswer::NoToAll},
                          {"C\n", OverwriteAnswer::Cancel}};
    const std::string question = "Exists: a.iso(Yes/No/YesAll/NoAll/Cancel):";
    for (const Case& row : cases) {
        Console console;
        console.input = "what?\n" + std::string(82, 'y') + "\n" + row.input;
        EXPECT_EQ(console.session.promptOverwrite(u"Exists", u"a.iso"), row.answer) << row.input;
        EXPECT_EQ(console.writes, (Writes{question, question, question, "\r\n"})) << row.input;
        EXPECT_EQ(console.flags.cancel, row.answer == OverwriteAnswer::Cancel) << row.input;
    }
}

TEST(ConsoleSession, AnswersToAllAreRememberedForTheirKindOfQuestion) {
    struct Case {
        std::string input;
        OverwriteAnswer later;
    };
    for (const Case& row : {Case{"YesAll\n", OverwriteAnswer::Yes}, Case{"NoAll\n", OverwriteAnswer::No}}) {
        Console console;
        console.input = row.input;
        (void)console.session.promptOverwrite(u"Exists", u"a");
        console.writes.clear();
        EXPECT_EQ(console.session.promptOverwrite(u"Exists", u"b"), row.later) << row.input;
        EXPECT_TRUE(console.writes.empty()) << row.input;
        console.input += "c\n";
        EXPECT_EQ(console.session.promptOverwrite(u"In the image", u"c"), OverwriteAnswer::Cancel) << row.input;
    }
}

}  // namespace
}  // namespace tovlark
