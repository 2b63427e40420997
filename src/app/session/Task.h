#pragma once

#include "app/session/ConsoleSession.h"
#include "app/session/Flags.h"
#include "app/session/MessageLog.h"
#include "app/session/SettingsStore.h"
#include "base/Clock.h"

namespace tovlark {

/// What every engine is handed beside its own request: where it reports, asks, reads options and learns the time.
struct Task {
    ConsoleSession& session;
    SettingsStore& settings;
    MessageLog& log;
    const Clock& clock;
    Flags& flags;
};

}  // namespace tovlark
