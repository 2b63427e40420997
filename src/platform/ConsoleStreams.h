#pragma once

#include <string_view>

#include "base/Text.h"

namespace tovlark {

/// The three standard streams as the console session uses them. Plain data, so that a test can stand in.
struct ConsoleStreams {
    void* self;
    /// Writes all bytes to standard output in one call where the system allows; false once the reader is gone.
    bool (*write)(void* self, std::string_view bytes);
    /// Takes one byte of standard input, waiting for it; -1 at its end.
    int (*readByte)(void* self);
    /// Tells the front end that a prompt is open: only then does it read what the user types.
    void (*announcePrompt)(void* self);
};

/// Reopens standard output, input and error, in this order, on the pipes that a console front end made for this
/// process. False (streams as they were after the first failure) when there are none; nothing ever waits here.
/// The front end's POSIX FIFOs are unlinked once all three are open.
bool BindConsolePipes();

/// The process's standard streams, bound to pipes or inherited. Waiting ends, as if the stream had ended, once
/// `WatchForCancel` has seen a request to stop.
ConsoleStreams StandardStreams();

/// Writes the line and CR LF to standard error; on a system with consoles, to the caller's console when the process has
/// no standard error.
void WriteErrorLine(TextView line);

}  // namespace tovlark
