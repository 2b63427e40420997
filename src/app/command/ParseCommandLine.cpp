#include "app/command/ParseCommandLine.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "app/command/OptionTable.h"

namespace tovlark {

namespace {

constexpr TextView kCurrentFolderWord = u"-wd", kEventWord = u"-evt";

constexpr std::size_t kFurthest = 2;  // edits between a word and what was typed for it

/// Edits (a character put in, left out or changed) that make one word of the other (Levenshtein).
std::size_t EditsBetween(TextView left, TextView right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t index = 0; index < left.size(); ++index) {
        std::size_t diagonal = std::exchange(row[0], index + 1);
        for (std::size_t column = 0; column < right.size(); ++column) {
            const std::size_t changed = diagonal + (left[index] != right[column]);
            diagonal = row[column + 1];
            row[column + 1] = std::min({row[column] + 1, diagonal + 1, changed});
        }
    }
    return row.back();
}

Status RefuseUnknown(CommandContext& context, const Text& word) {
    Task& task = context.task;
    TellError(task, TextId::UnrecognizedParameter, {word});
    const auto distance = [&](const OptionRow& row) {
        return word.size() > 100 ? word.size() : EditsBetween(UpperCase(row.word), UpperCase(word));
    };
    const auto nearest = std::ranges::min_element(AllOptions(), {}, distance);
    if (distance(*nearest) <= kFurthest && distance(*nearest) < nearest->word.size() - 1)
        TellError(task, TextId::DidYouMean, {nearest->word});
    else
        TellError(task, TextId::SeeUsage);
    return Status::Failed;
}

Status RefuseParameter(CommandContext& context, const OptionRow& row) {
    Task& task = context.task;
    TellError(task, TextId::BadParameter, {row.word});
    if (row.handler == Reject)
        TellError(task, TextId::NotOnCommandLine, {row.word});
    else if (!row.word.starts_with(u'-') && context.request.command != CommandKind::None)
        TellError(task, TextId::OneCommandOnly);
    else if (!row.syntax.empty())
        TellError(task, TextId::SyntaxOf, {row.word, row.syntax});
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
        TellError(context.task, TextId::NoParameters);
        return Status::Failed;
    }
    if (words.size() > 2 && words[words.size() - 2] == kCurrentFolderWord) {
        const Words folder = words.last(2);
        if (CurrentFolderSwitch(context, folder) == 0)
            return RefuseParameter(context, *std::ranges::find(AllOptions(), kCurrentFolderWord, &OptionRow::word));
        words = words.first(words.size() - 2);
    }
    words = words.subspan(std::min(FirstCommandWord(context.words), words.size()));
    const std::span<const OptionRow> options = AllOptions();
    while (!words.empty() && !context.task.flags.cancel) {
        const auto row = std::ranges::find(options, TextView(words[0]), &OptionRow::word);
        if (row == options.end()) return RefuseUnknown(context, words[0]);
        const std::size_t taken = row->handler(context, words);
        if (context.endStatus) return *context.endStatus;
        if (context.task.flags.cancel) break;
        if (taken == 0) return RefuseParameter(context, *row);
        context.changesCompilation = context.changesCompilation || ChangesCompilation(*row);
        words = words.subspan(taken);
    }
    if (context.task.flags.cancel) TakeEventName(context, words);
    return Status::Ok;
}

}  // namespace tovlark
