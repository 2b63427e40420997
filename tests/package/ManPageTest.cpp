#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

#include "app/command/OptionTable.h"
#include "app/command/Usage.h"
#include "support/RunProgram.h"

namespace tovlark {
namespace {

/// The items of tvcmd's lists of commands and switches: ".It Fl ot Cm iso | bin" gives "-ot" and the rest of the line.
std::map<std::string, std::string> Items() {
    std::map<std::string, std::string> items;
    std::ifstream page(TOVLARK_SOURCE "/docs/man/tvcmd.1");
    for (std::string line; std::getline(page, line);) {
        std::istringstream words(line);
        std::string macro, kind, word, rest;
        words >> macro >> kind >> word;
        if (macro != ".It" || (kind != "Ic" && kind != "Fl")) continue;
        if (word.starts_with("\\&")) word.erase(0, 2);
        std::getline(words, rest);
        items[(kind == "Fl" ? "-" : "") + word] = rest + " ";
    }
    return items;
}

TEST(ManPage, TellsTheWordsOfTheCommandLine) {
    const auto items = Items();
    const std::span<const OptionRow> options = AllOptions();
    for (const UsageEntry& entry : UsageEntries()) {
        const std::string word = ToUtf8(entry.word);
        ASSERT_TRUE(items.contains(word)) << word << " is missing";
        const auto row = std::ranges::find(options, TextView(entry.word), &OptionRow::word);
        ASSERT_NE(row, options.end()) << word;
        for (const Text& choice : row->choices != nullptr ? row->choices() : std::vector<Text>())
            EXPECT_NE(items.at(word).find(" " + ToUtf8(choice) + " "), std::string::npos) << word << ToUtf8(choice);
        const bool takesSome = row->first != Parameter::None;
        EXPECT_EQ(items.at(word).find_first_not_of(' ') != std::string::npos, takesSome) << word;
    }
    for (const auto& [word, rest] : items)
        EXPECT_NE(std::ranges::find(options, TextView(FromUtf8(word)), &OptionRow::word), options.end())
            << word << " is no word of the command line";
}

TEST(ManPage, HasNoFaultsInItsMarkup) {
    if (RunProgram({.words = {"sh", "-c", "command -v mandoc"}}).status != 0) GTEST_SKIP() << "mandoc is missing";
    for (const std::string page : {"tovlark", "tvcmd", "tvdrive", "tvset"}) {
        const ProgramEnd end =
            RunProgram({.words = {"mandoc", "-T", "lint", "-W", "warning", TOVLARK_SOURCE "/docs/man/" + page + ".1"}});
        EXPECT_EQ(end.output + end.errors, "");
        EXPECT_EQ(end.status, 0);
    }
}

}  // namespace
}  // namespace tovlark
