#include "app/command/Usage.h"

#include <algorithm>

namespace tovlark {

namespace {

constexpr std::uint32_t kShowMilliseconds = 300;
constexpr int kCommandCount = 7, kLinesPerCommand = 3;

constexpr int kFirst = static_cast<int>(TextId::UsageFirst), kLast = static_cast<int>(TextId::UsageLast);
constexpr int kFirstCommand = kFirst + 2;  // after the title and "<Commands>"
constexpr int kSwitches = kFirstCommand + kCommandCount * kLinesPerCommand;
static_assert(kSwitches < kLast);

/// After the title, between the commands, and after "<Switches>".
constexpr bool HasBlankAfter(int line) {
    const bool endsCommand = line >= kFirstCommand && line < kSwitches - 1 &&
                             (line - kFirstCommand) % kLinesPerCommand == kLinesPerCommand - 1;
    return line == kFirst || line == kSwitches || endsCommand;
}

constexpr TextView kBlank = u" ";

/// A line's words with one blank before each, without examples and what stands in angle brackets.
Text Prose(TextView line) {
    Text prose;
    for (std::size_t position = 0; (position = line.find_first_not_of(kBlank, position)) < line.size();) {
        const std::size_t end =
            line[position] == u'<' ? line.find(u'>', position) + 1 : std::min(line.find(u' ', position), line.size());
        const TextView word = line.substr(position, end - position);
        if (word == u"Example:" || word == u"Command:") break;
        if (!word.starts_with(u'<')) prose.append(kBlank).append(word);
        position = end;
    }
    return prose;
}

/// The first sentence, without its full stop.
TextView FirstSentence(TextView prose) {
    if (prose.starts_with(kBlank)) prose.remove_prefix(1);
    prose = prose.substr(0, prose.find(u". "));
    if (prose.ends_with(u'.')) prose.remove_suffix(1);
    return prose;
}

}  // namespace

std::vector<UsageEntry> UsageEntries() {
    const Texts texts;
    std::vector<UsageEntry> entries;
    for (int line = kFirstCommand; line <= kLast; ++line) {
        const TextView text = texts[static_cast<TextId>(line)];
        // An entry begins behind one blank; what belongs to it stands further in.
        const std::size_t indent = text.find_first_not_of(kBlank);
        if (indent == 1) {
            const std::size_t end = std::min(text.find(u' ', indent), text.size());
            entries.push_back({Text(text.substr(indent, end - indent)), Prose(text.substr(end))});
        } else if (indent > 1 && !entries.empty()) {
            entries.back().purpose += Prose(text);
        }
    }
    for (UsageEntry& entry : entries) entry.purpose = Text(FirstSentence(entry.purpose));
    return entries;
}

void PrintUsage(Task& task) {
    for (int line = kFirst; line <= kLast; ++line) {
        task.session.printLine(static_cast<TextId>(line));
        if (HasBlankAfter(line)) task.session.print(u"\r\n");
    }
    task.clock.sleep(task.clock.self, kShowMilliseconds);
}

}  // namespace tovlark
