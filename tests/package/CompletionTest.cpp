// The completion scripts as the shells run them, asked without a terminal.
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

#include "app/command/OptionTable.h"
#include "app/command/Usage.h"
#include "support/CommandLine.h"
#include "support/RunProgram.h"

namespace tovlark {
namespace {

using testing::Contains;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

using Names = std::vector<std::string>;

const std::string kScripts = TOVLARK_BUILD "/completion/";

// Splits the line at blanks and at ":" and "=", as bash does, with the cursor at its end. What the script asks the
// shell for ("-o default") comes out as well.
constexpr const char* kAskBash = R"sh(
    set -u
    compopt() { echo "$@"; }
    . "$SCRIPT" || exit 1
    complete -p "$PROGRAM" >&2
    COMP_LINE=$LINE COMP_POINT=${#LINE}
    read -ra COMP_WORDS <<<"$(sed -E 's/[:=]+/ & /g' <<<"$LINE")"
    if [[ $LINE == *' ' ]]; then COMP_WORDS+=(''); fi
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    "_$PROGRAM"
    printf '%s\n' "${COMPREPLY[@]}"
)sh";

constexpr const char* kAskZsh = R"sh(
    compdef() { :; }
    _files() { print -- _files "$@"; }
    _message() { :; }
    compadd() { shift; print -l -- "$@"; }
    _describe() { print -l -- "${(@)${(@P)@[-1]}%%:*}"; }
    words=( ${=LINE} ) CURRENT=${#words}
    if [[ $LINE == *' ' ]]; then words+=( '' ) CURRENT=${#words}; fi
    . "$SCRIPT"
)sh";

Names Lines(const std::string& text) {
    Names lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        if (!line.empty()) lines.push_back(line);
    return lines;
}

Names AskBash(const std::string& line) {
    const std::string program = line.substr(0, line.find(' '));
    const ProgramEnd end =
        RunProgram({.words = {"bash", "--norc", "-c", kAskBash},
                    .environment = {{"LINE", line}, {"PROGRAM", program}, {"SCRIPT", kScripts + program}}});
    EXPECT_EQ(end.status, 0) << line;
    EXPECT_EQ(end.errors, "complete -F _" + program + " " + program + "\n") << line;
    return Lines(end.output);
}

/// All that zsh would choose from: it leaves the match with what is typed to the shell.
Names AskZsh(const std::string& line) {
    const std::string script = kScripts + "_" + line.substr(0, line.find(' '));
    const ProgramEnd end =
        RunProgram({.words = {"zsh", "-f", "-c", kAskZsh}, .environment = {{"LINE", line}, {"SCRIPT", script}}});
    EXPECT_EQ(end.errors, "") << line;
    return Lines(end.output);
}

Names ShownWords(bool areSwitches) {
    Names words;
    for (const UsageEntry& entry : UsageEntries())
        if (entry.word.starts_with(u'-') == areSwitches) words.push_back(ToUtf8(entry.word));
    return words;
}

bool HasZsh() { return RunProgram({.words = {"sh", "-c", "command -v zsh"}}).status == 0; }

TEST(Completion, UsageEntriesAreTheRowsThatTheUsageTextShows) {
    Names table;
    for (const OptionRow& row : AllOptions()) table.push_back(ToUtf8(row.word));
    EXPECT_EQ(ShownWords(false),
              (Names{"convert", "create", "burn-image", "copy-disc", "erase-disc", "make-image", "rip"}));
    EXPECT_EQ(ShownWords(true).size(), 23u);
    EXPECT_THAT(table, IsSupersetOf(ShownWords(true)));
    std::map<Text, Text> purposes;
    for (const UsageEntry& entry : UsageEntries()) purposes[entry.word] = entry.purpose;
    EXPECT_EQ(purposes[u"-ot"], u"Specify output file type");  // choices with blanks, and a second sentence
    EXPECT_EQ(purposes[u"-add"], u"Add local file or directory to image file");
    EXPECT_EQ(purposes[u"-vol-expiration-datetime"], u"Set volume expiration date time for output image file");
}

// A row that tells the shells another number of parameters than its handler takes completes the wrong word ever after.
TEST(Completion, RowsTellTheParametersThatTheirHandlersTake) {
    for (const UsageEntry& entry : UsageEntries()) {
        const auto row = std::ranges::find(AllOptions(), TextView(entry.word), &OptionRow::word);
        ASSERT_NE(row, AllOptions().end()) << ToUtf8(entry.word);
        const std::vector<Text> choices = row->choices != nullptr ? row->choices() : std::vector<Text>{u""};
        for (const Text& choice : choices) {
            std::vector<Text> words{entry.word};
            for (const Parameter parameter : {row->first, row->second}) {
                if (parameter == Parameter::Choice) words.push_back(choice);
                if (parameter == Parameter::Path) words.push_back(TOVLARK_SOURCE u"/LICENSE");
                if (parameter == Parameter::Folder) words.push_back(u"/");
                if (parameter != Parameter::Other) continue;
                const bool isDate = entry.word.ends_with(u"-datetime");
                words.push_back(isDate ? u"12-20-2008-08:00:00" : entry.word == u"-speed" ? u"cd10x" : u"/");
            }
            const std::size_t count = words.size();
            words.push_back(u"-y");
            words.push_back(u"-y");
            CommandLine line(words);
            EXPECT_EQ(row->handler(line.context, Words(line.words).subspan(1)), count)
                << ToUtf8(entry.word) << " " << ToUtf8(choice) << ": " << line.output();
        }
    }
}

TEST(Completion, BashOffersWhatFits) {
    const struct {
        const char* line;
        Names offered;
    } rows[] = {
        {"tvcmd create -jol", {"-joliet", "-joliet-name-len"}},
        {"tvcmd -ver", {"-verify"}},
        {"tvcmd c", {"convert", "create", "copy-disc"}},
        {"tvcmd create c", {}},
        {"tvcmd create -ot b", {"bin"}},
        {"tvcmd create -udf ", {"on", "off"}},
        {"tvcmd create -o ", {"-o default"}},
        {"tvcmd rip F: -od ", {"-o dirnames"}},
        {"tvcmd create -add photos ", {}},
        {"tvcmd create -label -o -jol", {"-joliet", "-joliet-name-len"}},
        {"tvcmd copy-disc F: ", {}},
        {"tvcmd copy-disc F: G: -fu", {"-full-erase"}},
        {"tvcmd create -file-datetime 12-20-2008-08:00:00 -lab", {"-label"}},
        {"tvcmd create -o a=b.iso -lab", {"-label"}},
        {"tvcmd create -o a=b", {"-o default"}},
        {"tvcmd convert $(x -lab", {"-label"}},
        {"tvcmd convert 'a]b' -lab", {"-label"}},
        {"tvdrive in", {"insert", "info"}},
        {"tvdrive list ", {"--json", "--help"}},
        {"tvdrive log F: --o", {"--on", "--off"}},
        {"tvdrive fault F: --busy f", {"forever"}},
        {"tvdrive insert F: ", {"-o default"}},
        {"tvdrive new a.tvdisc --media DVD+RW", {"DVD+RW", "DVD+RW DL", "-o filenames"}},
        {"tvdrive add F: --speed r", {"real"}},
        {"tvdrive eject ", {}},
    };
    for (const auto& row : rows) EXPECT_THAT(AskBash(row.line), UnorderedElementsAreArray(row.offered)) << row.line;
    EXPECT_THAT(AskBash("tvcmd "), UnorderedElementsAreArray(ShownWords(false)));
    EXPECT_THAT(AskBash("tvcmd -"), UnorderedElementsAreArray(ShownWords(true)));
    EXPECT_THAT(AskBash("tvcmd create "), UnorderedElementsAreArray(ShownWords(true)));
}

TEST(Completion, ZshOffersWhatFits) {
    if (!HasZsh()) GTEST_SKIP() << "zsh is missing";
    EXPECT_EQ(RunProgram({.words = {"zsh", "-n", kScripts + "_tvcmd"}}).errors, "");
    EXPECT_THAT(AskZsh("tvcmd "), UnorderedElementsAreArray(ShownWords(false)));
    EXPECT_THAT(AskZsh("tvcmd create -jol"), UnorderedElementsAreArray(ShownWords(true)));
    EXPECT_THAT(AskZsh("tvcmd create -add photos "), UnorderedElementsAre());
    EXPECT_THAT(AskZsh("tvcmd copy-disc F: G: "), Contains("-full-erase"));
    EXPECT_THAT(AskZsh("tvcmd create -udf o"), UnorderedElementsAre("on", "off"));
    EXPECT_THAT(AskZsh("tvcmd create -o "), UnorderedElementsAre("_files"));
    EXPECT_THAT(AskZsh("tvcmd rip F: -od "), UnorderedElementsAre("_files -/"));
    EXPECT_EQ(RunProgram({.words = {"zsh", "-n", kScripts + "_tvdrive"}}).errors, "");
    EXPECT_THAT(AskZsh("tvdrive "), IsSupersetOf({"insert", "export"}));
    EXPECT_THAT(AskZsh("tvdrive new a.tvdisc --media "), IsSupersetOf({"CD-R", "DVD-RW (restricted overwrite)"}));
    EXPECT_THAT(AskZsh("tvdrive insert F: "), UnorderedElementsAre("_files"));
}

}  // namespace
}  // namespace tovlark
