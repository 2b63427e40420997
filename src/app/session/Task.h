#pragma once

#include <optional>

#include "app/session/ConsoleSession.h"
#include "app/session/Flags.h"
#include "app/session/MessageLog.h"
#include "app/session/SettingsStore.h"
#include "base/Clock.h"
#include "base/Text.h"
#include "platform/SystemError.h"

namespace tovlark {

/// What every engine is handed beside its own request: where it reports, asks, reads options and learns the time.
struct Task {
    ConsoleSession& session;
    SettingsStore& settings;
    MessageLog& log;
    const Clock& clock;
    Flags& flags;
};

/// Prints and logs what is worth a line and no failure.
void TellNote(Task& task, TextId text, std::initializer_list<FormatArgument> arguments = {});

/// Prints and logs the line: a failure, or what explains one.
void TellError(Task& task, const Text& line);
void TellError(Task& task, TextId text, std::initializer_list<FormatArgument> arguments = {});

/// Prints and logs the line and sets the error flag.
void ReportError(Task& task, const Text& line);

/// What keeps a file from being written to this path: that something else than a file has the name, or that the user,
/// who is asked, lets the file stay. To be told as a message about the path.
std::optional<TextId> WhatKeepsFile(Task& task, const Text& path);

/// Below the message that a file could not be made: names the folder that is missing, if that was the reason.
void ExplainMissingFolder(Task& task, const Text& path, SystemError error);

}  // namespace tovlark
