// Makes a shell's completion script from its body in this folder and the programs' own tables of words.
#include "platform/Main.h"

#include <algorithm>

#include "app/command/OptionTable.h"
#include "app/command/Usage.h"
#include "app/session/Texts.h"
#include "platform/ConsoleStreams.h"
#include "platform/Files.h"
#include "simdrive/Medium.h"

namespace tovlark {

namespace {

constexpr std::uint64_t kLargestBody = 1 << 20;

std::string Quoted(TextView text) {
    std::string quoted = "'";
    for (const char character : ToUtf8(text)) quoted += character == '\'' ? "'\\''" : std::string(1, character);
    return quoted + "'";
}

/// One word for the scripts: "path", "folder", "other", or "=" and the choices with commas between; empty for none.
Text KindWord(const OptionRow& row, Parameter parameter) {
    switch (parameter) {
        case Parameter::None: return {};
        case Parameter::Path: return u"path";
        case Parameter::Folder: return u"folder";
        case Parameter::Other: return u"other";
        case Parameter::Choice: break;
    }
    Text word;
    for (const Text& choice : row.choices()) word += (word.empty() ? u"=" : u",") + choice;
    return word;
}

/// Two arrays that bash and zsh both read: what each word is for, and what follows those that take parameters.
std::string Table() {
    std::string purposes = "    local -A purposes=(\n", takes = "    local -A takes=(\n";
    for (const UsageEntry& entry : UsageEntries()) {
        const std::span<const OptionRow> options = AllOptions();
        const auto row = std::ranges::find(options, TextView(entry.word), &OptionRow::word);
        if (row == options.end()) continue;  // the text promises more than there is: a test's business
        const std::string start = "        [" + ToUtf8(entry.word) + "]=";
        purposes += start + Quoted(entry.purpose) + "\n";
        Text kinds = KindWord(*row, row->first);
        if (row->second != Parameter::None) kinds += u" " + KindWord(*row, row->second);
        if (!kinds.empty()) takes += start + Quoted(kinds) + "\n";
    }
    return purposes + "    )\n" + takes + "    )\n";
}

/// What each verb of tvdrive is for, as an array.
std::string Verbs() {
    constexpr std::pair<std::string_view, TextId> kVerbs[] = {
        {"list", TextId::TvdriveList},     {"add", TextId::TvdriveAdd},       {"map", TextId::TvdriveMap},
        {"remove", TextId::TvdriveRemove}, {"new", TextId::TvdriveNew},       {"insert", TextId::TvdriveInsert},
        {"eject", TextId::TvdriveEject},   {"info", TextId::TvdriveInfo},     {"fault", TextId::TvdriveFault},
        {"log", TextId::TvdriveLog},       {"export", TextId::TvdriveExport},
    };
    const Texts texts;
    std::string purposes = "    local -A purposes=(\n";
    for (const auto& [verb, purpose] : kVerbs)
        purposes.append("        [").append(verb).append("]=").append(Quoted(texts[purpose])).append("\n");
    return purposes + "    )\n";
}

/// The media that a blank disc can be of, as an array.
std::string Media() {
    std::string media = "    local -a media=(";
    for (const MediumRules& rules : MediaRules())
        if (rules.access != Access::Pressed) media += " " + Quoted(rules.name);
    return media + " )\n";
}

/// Lines of a body that stand for a table.
struct Mark {
    std::string_view line;
    std::string (*table)();
};
constexpr Mark kMarks[] = {{"    @TABLE@\n", Table}, {"    @VERBS@\n", Verbs}, {"    @MEDIA@\n", Media}};

SystemError MakeScript(const Text& bodyPath, const Text& scriptPath) {
    std::string script;
    if (const SystemError error = ReadWholeFile(bodyPath, kLargestBody, script); error.failed()) return error;
    for (const Mark& mark : kMarks)
        if (const std::size_t at = script.find(mark.line); at != std::string::npos)
            script.replace(at, mark.line.size(), mark.table());
    NewFile file;
    SystemError error = file.create(scriptPath);
    if (!error.failed()) error = file.write(std::as_bytes(std::span(script)));
    return error.failed() ? error : file.commit();
}

}  // namespace

int ProgramMain(const std::vector<Text>& words) {
    if (words.size() != 3) {
        WriteErrorLine(u"Usage: make_completion BODY SCRIPT");
        return 1;
    }
    const SystemError error = MakeScript(words[1], words[2]);
    if (error.failed()) WriteErrorLine(words[2] + u": " + DescribeError(error));
    return error.failed() ? 1 : 0;
}

}  // namespace tovlark
