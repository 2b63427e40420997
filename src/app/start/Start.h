#pragma once

#include <cstdint>
#include <vector>

#include "app/session/Task.h"
#include "base/Status.h"
#include "platform/SystemError.h"

namespace tovlark {

/// How the process was started, by its words alone.
enum class StartKind : std::uint8_t {
    Console,        // a console front end may be waiting: `enterConsoleMode` finds out
    ExtractPlugin,  // "-ii1 -extract_plugin X"
    DriveTool,      // "-ii1" and one of the verbs that open a tool
};

StartKind KindOfStart(const std::vector<Text>& words);

/// Milliseconds to wait before anything else, so that the process that started this one can end: first argument
/// "/sleep=3000". 0 without it, at most a minute.
std::uint32_t StartDelay(const std::vector<Text>& words);

/// Exit status of a task: -2 when cancelled, -1 when anything failed, else the task's own.
int EndStatus(const Flags& flags, Status status);

/// What console mode needs of the system.
struct ConsoleSeams {
    bool (*bindPipes)();
    SystemError (*signalEvent)(const Text& name);
};

/// What comes after console mode.
enum class AfterConsole : std::uint8_t {
    End,            // with `status`
    NotEntered,     // no front end waits: a program with windows
    WriteTemplate,  // `create_lang_file`: the template of a language file, to `templatePath` (empty: the usual place)
};

struct ConsoleOutcome {
    AfterConsole next;
    int status = 0;
    Text templatePath{};
};

/// Binds the streams to the front end's pipes (an internal start keeps those it inherited), runs the one command of the
/// command line and signals the event that it names. Status: -2 when cancelled, -1 when anything failed, else the
/// command's.
ConsoleOutcome enterConsoleMode(Task& task, const std::vector<Text>& words, const ConsoleSeams& seams);

/// Adds the message log to the file that the setting "MessageLogFile" names, if any; says so when it cannot.
void KeepMessageLog(Task& task);

/// Writes the template of a language file, elevated if need be. An existing file is asked about.
Status WriteLanguageTemplate(Task& task, const Text& path);

}  // namespace tovlark
