#include <algorithm>
#include <new>
#include <utility>

#include "app/session/Settings.h"
#include "app/start/Start.h"
#include "base/Status.h"
#include "platform/EventStream.h"
#include "platform/Main.h"
#include "platform/Paths.h"
#include "platform/Process.h"
#include "platform/SystemClock.h"

namespace tovlark {

namespace {

constexpr TextView kTemplateCommand = u"create_lang_file";

int RunTask(Task& task, const std::vector<Text>& words) {
    ConsoleOutcome outcome{AfterConsole::NotEntered};
    if (KindOfStart(words) == StartKind::Console)
        outcome = enterConsoleMode(task, words, {BindConsolePipes, SignalNamedEvent});
    const bool wasElevated = StartDelay(words) > 0 && words.size() > 2 && words[2] == kTemplateCommand;
    if (outcome.next == AfterConsole::NotEntered && wasElevated) outcome.next = AfterConsole::WriteTemplate;
    switch (outcome.next) {
        case AfterConsole::End: return outcome.status;
        case AfterConsole::WriteTemplate: {
            const Status status = WriteLanguageTemplate(task, outcome.templatePath);
            return EndStatus(task.flags, status);
        }
        case AfterConsole::NotEntered: break;
    }
    WriteErrorLine(task.session.texts()[TextId::StartedWithoutConsole]);
    return kExitFailed;
}

/// Where events go, and why they do not.
struct EventOutput {
    EventTarget target;
    Text name = EventTargetName();
    SystemError error = name.empty() ? SystemError{} : target.open(name);
};

int Run(const std::vector<Text>& words, const Clock& clock, EventWriter& events, const EventOutput& output) {
    if (const std::uint32_t delay = StartDelay(words)) clock.sleep(clock.self, delay);
    static Flags flags;  // signals reach it until the process is gone
    WatchForCancel(flags.cancel);
    SettingsStore settings(OpenSettings());
    const std::uint32_t language = settings.getInt(kLanguage);
    LanguageFile languageFile = LoadLanguage(language);
    const bool hasLanguage = IsEnglish(language) || languageFile.languageId() != 0;
    const Texts texts(std::move(languageFile));
    MessageLog log(clock, &events);
    ConsoleSession session(StandardStreams(), texts, clock, flags, &events);
    Task task{session, settings, log, clock, flags};

    // The console is not the place: scripts parse it.
    if (output.error.failed())
        log.append(texts.format(TextId::EventsNotWritten, {output.name, DescribeError(output.error)}));
    if (!hasLanguage) log.append(texts.format(TextId::NoLanguageFile, {LanguageFolder(), language}));
    const int status = RunTask(task, words);
    KeepMessageLog(task);
    return status;
}

}  // namespace

int ProgramMain(const std::vector<Text>& words) {
    const EventOutput output;  // before anything else opens a descriptor
    const Clock clock = SystemClock();
    EventWriter events(output.target.stream(), clock);
    int status = kExitFailed;
    try {
        status = Run(words, clock, events, output);
    } catch (const std::bad_alloc&) {
        const Texts texts;
        WriteErrorLine(texts[TextId::OutOfMemory]);
        events.message(texts[TextId::OutOfMemory], MessageLevel::Error);
    }
    events.result(status);
    return status;
}

}  // namespace tovlark
