#include <algorithm>

#include "app/command/Grammars.h"
#include "app/command/Handlers.h"
#include "authoring/Adding.h"
#include "base/Dates.h"
#include "base/IniText.h"
#include "platform/Paths.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kJolietLevels[] = {0, 1, 2, 3};
constexpr TextView kOn = u"on", kOff = u"off";
constexpr std::uint32_t kIsoNameLengths[] = {12, 30, 221};
constexpr std::uint32_t kJolietNameLengths[] = {64, 110};

/// The number that the switch is given, when it is one of those allowed.
std::optional<std::uint8_t> OneOf(std::span<const std::uint32_t> allowed, TextView word) {
    const auto number = ParseWholeNumber(ToUtf8(word));
    if (!number || std::ranges::find(allowed, *number) == allowed.end()) return std::nullopt;
    return static_cast<std::uint8_t>(*number);
}

std::vector<Text> AsWords(std::span<const std::uint32_t> numbers) {
    std::vector<Text> words;
    for (const std::uint32_t number : numbers) words.push_back(FormatText(u"%u", {number}));
    return words;
}

/// Stores the instant of the local time that the switch is given.
std::size_t TakeDate(CommandContext& context, Words words, UnixSeconds& date) {
    const auto time = words.size() < 2 ? std::nullopt : ParseDateTime(words[1]);
    if (!time) return Refuse(context, TextId::DateUsage, {words[0]});
    date = FromLocal(context.task.clock, *time);
    return 2;
}

std::size_t TakeVolumeDate(CommandContext& context, Words words, VolumeDate which) {
    return TakeDate(context, words, context.compilation.volumeDates[static_cast<std::size_t>(which)]);
}

}  // namespace

std::size_t AddSwitch(CommandContext& context, Words words) {
    if (words.size() < 3) return 0;
    const Text& localPath = words[1];
    Text folderPath = ToPathInImage(words[2]);
    if (!folderPath.starts_with(u'/')) return 0;
    while (folderPath.size() > 1 && folderPath.ends_with(u'/')) folderPath.pop_back();

    Task& task = context.task;
    ConsoleSession& session = task.session;
    CompilationNode* folder = MakeFolders(task, context.compilation, folderPath);
    if (folder == nullptr) return 0;
    session.printAndMark(session.texts().format(TextId::Adding, {localPath}));
    if (AddFromDisk(task, context.compilation, localPath, *folder) == AddResult::NotFound) {
        TellError(task, TextId::CannotFindLocal, {localPath});
        if (const Text fullPath = FullPath(localPath); fullPath != localPath)
            TellError(task, TextId::LookedFor, {fullPath});
        context.endStatus = Status::Failed;
        return 0;
    }
    if (!task.flags.cancel) session.printDone();
    return 3;
}

std::size_t DeleteSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    CompilationNode* node = FindNode(context.compilation, ToPathInImage(words[1]));
    if (node == nullptr) return Refuse(context, TextId::ItemNotFound, {words[1]});
    if (node == context.compilation.root) return Refuse(context, TextId::RootCannotBeDeleted);
    DeleteNode(context.compilation, *node);
    return 2;
}

std::size_t LabelSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    context.compilation.volumeFields[static_cast<std::size_t>(VolumeField::Volume)] = words[1];
    context.compilation.labelSet = true;
    return 2;
}

std::size_t JolietSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    const auto level = OneOf(kJolietLevels, words[1]);
    if (!level) return Refuse(context, TextId::JolietLevelUsage);
    context.compilation.jolietEnabled = *level != 0;
    if (*level != 0) context.compilation.jolietLevel = *level;
    context.compilation.fileSystemsFixed = true;
    return 2;
}

std::size_t UdfSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    const bool isOn = EqualsIgnoringCase(words[1], kOn);
    if (!isOn && !EqualsIgnoringCase(words[1], kOff)) return Refuse(context, TextId::UdfUsage);
    context.compilation.udfEnabled = isOn;
    return 2;
}

std::size_t IsoNameLengthSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    const auto length = OneOf(kIsoNameLengths, words[1]);
    if (!length) return Refuse(context, TextId::IsoNameLengthUsage);
    context.compilation.isoNameLength = *length;
    context.compilation.isoNameLengthFixed = true;
    context.compilation.fileSystemsFixed = true;
    return 2;
}

std::size_t JolietNameLengthSwitch(CommandContext& context, Words words) {
    if (words.size() < 2) return 0;
    const auto length = OneOf(kJolietNameLengths, words[1]);
    if (!length) return Refuse(context, TextId::JolietNameLengthUsage);
    context.compilation.jolietNameLength = *length;
    context.compilation.fileSystemsFixed = true;
    return 2;
}

std::size_t LowerCaseSwitch(CommandContext& context, Words) {
    context.compilation.lowerCaseAllowed = true;
    context.compilation.fileSystemsFixed = true;
    return 1;
}

std::size_t NoOptimisationSwitch(CommandContext& context, Words) {
    context.compilation.optimisationEnabled = false;
    return 1;
}

std::size_t FileDateSwitch(CommandContext& context, Words words) {
    return TakeDate(context, words, context.compilation.fixedDate);
}

std::size_t CreationDateSwitch(CommandContext& context, Words words) {
    return TakeVolumeDate(context, words, VolumeDate::Creation);
}

std::size_t ModificationDateSwitch(CommandContext& context, Words words) {
    return TakeVolumeDate(context, words, VolumeDate::Modification);
}

std::size_t EffectiveDateSwitch(CommandContext& context, Words words) {
    return TakeVolumeDate(context, words, VolumeDate::Effective);
}

std::size_t ExpirationDateSwitch(CommandContext& context, Words words) {
    return TakeVolumeDate(context, words, VolumeDate::Expiration);
}

std::vector<Text> JolietLevelWords() { return AsWords(kJolietLevels); }
std::vector<Text> OnOffWords() { return {Text(kOn), Text(kOff)}; }
std::vector<Text> IsoNameLengthWords() { return AsWords(kIsoNameLengths); }
std::vector<Text> JolietNameLengthWords() { return AsWords(kJolietNameLengths); }

}  // namespace tovlark
