#include "app/command/ParseCommandLine.h"

#include <algorithm>

#include "app/command/OptionTable.h"

namespace tovlark {

namespace {

constexpr TextView kCurrentFolderWord = u"-wd", kEventWord = u"-evt";

Status Fail(CommandContext& context, TextId text, const Text& word) {
    context.task.session.printError(text, {word});
    return Status::Failed;
}

/// Whoever waits for the end of the process is told of it even when the line was left before that word.
void TakeEventName(CommandContext& context, Words rest) {
    const auto word = std::ranges::find(rest, kEventWord);
    if (word != rest.end()) EventSwitch(context, rest.subspan(static_cast<std::size_t>(word - rest.begin())));
}

}  // namespace

std::size_t FirstCommandWord(const std::vector<Text>& words) {
    return words.size() > 2 && (words[1] == u"-ii1" || words[1] == u"-ii2") ? 2 : 1;
}

Status ParseCommandLine(CommandContext& context) {
    Words words(context.words);
    if (words.size() < 2) {
        context.task.session.printError(TextId::NoParameters);
        return Status::Failed;
    }
    if (words.size() > 2 && words[words.size() - 2] == kCurrentFolderWord) {
        const Words folder = words.last(2);
        if (CurrentFolderSwitch(context, folder) == 0) return Fail(context, TextId::BadParameter, folder[0]);
        words = words.first(words.size() - 2);
    }
    words = words.subspan(std::min(FirstCommandWord(context.words), words.size()));
    const std::span<const OptionRow> options = AllOptions();
    while (!words.empty() && !context.task.flags.cancel) {
        const auto row = std::ranges::find(options, TextView(words[0]), &OptionRow::word);
        if (row == options.end()) return Fail(context, TextId::UnrecognizedParameter, words[0]);
        const std::size_t taken = row->handler(context, words);
        if (context.endStatus) return *context.endStatus;
        if (context.task.flags.cancel) break;
        if (taken == 0) return Fail(context, TextId::BadParameter, words[0]);
        words = words.subspan(taken);
    }
    if (context.task.flags.cancel) TakeEventName(context, words);
    return Status::Ok;
}

}  // namespace tovlark
