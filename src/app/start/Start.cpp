#include "app/start/Start.h"

#include <algorithm>

#include "app/command/ParseCommandLine.h"
#include "app/command/RunCommand.h"

namespace tovlark {

namespace {

constexpr TextView kInternalStart = u"-ii1", kPluginVerb = u"-extract_plugin";
constexpr TextView kToolVerbs[] = {u"-vwudisk", u"-vcudisk", u"-vwintogo"};
constexpr TextView kSleep = u"/sleep=";
constexpr std::uint32_t kLongestDelay = 60000;
constexpr TextView kProduct = u"Tovlark", kVersion = u"6.4";

void PrintBanner(ConsoleSession& session) {
    session.print(FormatText(u"\r\n%s %s %s\r\n            Type tvcmd -? for help\r\n\r\n",
                             {kProduct, session.texts()[TextId::Version], kVersion}));
}

/// Settings that are not read would otherwise look as if they had been forgotten.
void TellUnusableSettings(Task& task) {
    const auto fault = task.settings.fault();
    if (!fault) return;
    const Texts& texts = task.session.texts();
    TellError(task, TextId::SettingsUnusable, {fault->path, ReasonOf(texts, *fault)});
}

void SignalEnd(Task& task, const ConsoleSeams& seams, Text& eventName) {
    if (eventName.empty()) return;
    const SystemError error = seams.signalEvent(eventName);
    if (error.failed()) TellError(task, TextId::CannotSignalEvent, {eventName, DescribeError(error)});
    eventName.clear();
}

}  // namespace

int EndStatus(const Flags& flags, Status status) {
    if (flags.cancel) return kExitCancelled;
    return flags.error ? kExitFailed : static_cast<int>(status);
}

StartKind KindOfStart(const std::vector<Text>& words) {
    if (words.size() < 3 || !EqualsIgnoringCase(words[1], kInternalStart)) return StartKind::Console;
    if (words.size() == 4 && EqualsIgnoringCase(words[2], kPluginVerb)) return StartKind::ExtractPlugin;
    const bool isTool =
        std::ranges::any_of(kToolVerbs, [&](TextView verb) { return EqualsIgnoringCase(words[2], verb); });
    return isTool ? StartKind::DriveTool : StartKind::Console;
}

std::uint32_t StartDelay(const std::vector<Text>& words) {
    if (words.size() < 2 || !words[1].starts_with(kSleep)) return 0;
    std::uint32_t delay = 0;
    for (const char16_t unit : TextView(words[1]).substr(kSleep.size())) {
        if (unit < u'0' || unit > u'9') return 0;
        delay = std::min<std::uint32_t>(delay * 10 + (unit - u'0'), kLongestDelay);
    }
    return delay;
}

ConsoleOutcome enterConsoleMode(Task& task, const std::vector<Text>& words, const ConsoleSeams& seams) {
    const bool keepsStreams = FirstCommandWord(words) > 1;
    if (!keepsStreams) {
        if (!seams.bindPipes()) return {AfterConsole::NotEntered};
    }
    CommandRequest request;
    ImageBuildContext compilation;
    InitialiseCompilation(task, compilation);
    if (!keepsStreams) PrintBanner(task.session);
    TellUnusableSettings(task);
    CommandContext context{words, request, task, compilation};
    const Status parsed = ParseCommandLine(context);
    if (context.endStatus) return {AfterConsole::End, static_cast<int>(*context.endStatus)};
    if (parsed != Status::Ok) return {AfterConsole::End, kExitFailed};
    // A stop request that came while parsing: the command is not run, but whoever waits for its end is told.
    const Status status = task.flags.cancel ? Status::Failed : RunCommand(context);
    SignalEnd(task, seams, request.eventName);
    if (context.endStatus) return {AfterConsole::End, static_cast<int>(*context.endStatus)};
    if (context.keepRunning && !task.flags.cancel) return {AfterConsole::WriteTemplate, 0, request.outputFile};
    return {AfterConsole::End, EndStatus(task.flags, status)};
}

}  // namespace tovlark
