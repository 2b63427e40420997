#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/Text.h"
#include "platform/SystemError.h"

namespace tovlark {

/// What the front end has to tell people beside what the program itself writes.
enum class FrontEndEvent : std::uint8_t {
    ProgramMissing,       // `subject`: the path where it should be
    CannotStart,          // `subject`: the program's path; `error`
    NoRunFolder,          // `subject`: the folder for the pipes; `error`
    RunFolderNotPrivate,  // `subject`: the same, refused because others could reach into it
    EndedEarly,           // `subject`: the program's path; it ended before it had opened its pipes
    EndedBySignal,        // `number`: the signal
    EndedByException,     // `number`: the system's exception code
    ReaderGone,           // our own standard output cannot be written to any more: `error`
    StoppedAtOnce,        // the user asked a second time
    StepFailed,           // the program's last "<E0>" or "<E1>" was "<E0>", though its status is 0
};

struct FrontEndNotice {
    FrontEndEvent event;
    Text subject{};
    std::uint32_t number = 0;
    SystemError error{};
};

/// Starts `tovlark` from this program's folder with the same words (POSIX: the same bytes; Windows: the rest of the
/// command line as it stands), on three pipes of its own, and relays until it has ended. Standard input is read only
/// while the program has a prompt open, and no further than the line that answers it. Never waits for a program that
/// is gone.
/// Returns the program's status; -1 when it could not run to its end, -2 when its reader went away or the user stopped
/// it twice.
int RunConsoleProgram(const std::vector<Text>& words, const std::function<void(const FrontEndNotice&)>& tell);

}  // namespace tovlark
