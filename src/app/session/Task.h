#pragma once

#include "app/session/ConsoleSession.h"
#include "app/session/Flags.h"
#include "app/session/MessageLog.h"
#include "app/session/SettingsStore.h"
#include "base/Clock.h"
#include "base/Text.h"

namespace tovlark {

/// What every engine is handed beside its own request: where it reports, asks, reads options and learns the time.
struct Task {
    ConsoleSession& session;
    SettingsStore& settings;
    MessageLog& log;
    const Clock& clock;
    Flags& flags;
};

/// Prints and logs the line and sets the error flag.
void ReportError(Task& task, const Text& line);

}  // namespace tovlark
