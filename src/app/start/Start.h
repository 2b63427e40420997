#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "app/session/SettingsStore.h"
#include "base/Clock.h"
#include "platform/ConsoleStreams.h"
#include "platform/SystemError.h"

namespace tovlark {

/// How the process was started, seen from its words alone.
enum class StartKind : std::uint8_t {
    Console,        // a console front end may be waiting: `EnterConsoleMode` finds out
    ExtractPlugin,  // "-ii1 -extract_plugin X"
    DriveTool,      // "-ii1" and one of the verbs that open a tool
};

StartKind KindOfStart(const std::vector<Text>& words);

/// Milliseconds to wait before anything else: "/sleep=3000" as the first argument, so that the process that started
/// this one can end. 0 without it, at most a minute.
std::uint32_t StartDelay(const std::vector<Text>& words);

/// What console mode needs of the outside.
struct ConsoleSurroundings {
    const std::vector<Text>& words;  // program name first
    ConsoleStreams streams;
    const Clock& clock;
    SettingsStore& settings;
    Flags& flags;
    bool (*bindPipes)();
    SystemError (*signalEvent)(const Text& name);
};

/// What came of it.
struct ConsoleResult {
    std::optional<int> status;      // the process ends with it; nothing: it goes on starting
    bool writesTemplate = false;    // ... to write the template of a language file
    Text templatePath{};            // where to; empty: the usual place
};

/// Binds the streams to the front end's pipes, runs the one command of the command line and tells the process's
/// status: -2 when cancelled, -1 when anything failed, else the command's. Goes on as a program with windows when no
/// front end waits, and after `create_lang_file`.
ConsoleResult EnterConsoleMode(const ConsoleSurroundings& around);

}  // namespace tovlark
