#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "base/Text.h"
#include "platform/SystemError.h"

namespace tovlark {

/// Longest line of events, its LF included: what a POSIX pipe takes whole or not at all (PIPE_BUF of Linux).
inline constexpr std::size_t kLongestEventLine = 4096;

/// Where the lines of events go. Plain data, so that a test can stand in; both null: nowhere.
struct EventStream {
    void* self = nullptr;
    /// Takes the whole line, at most `kLongestEventLine` bytes, or refuses it; never waits. A line whose end did not
    /// fit is kept, and its rest goes out before anything else.
    bool (*write)(void* self, std::string_view line) = nullptr;
};

/// Value of the environment variable TOVLARK_EVENTS; empty when there is none.
Text EventTargetName();

/// The file, pipe or inherited descriptor behind an `EventStream`.
class EventTarget {
public:
    EventTarget();
    ~EventTarget();
    EventTarget(const EventTarget&) = delete;

    /// Opens "fd:N" (not on Windows: a descriptor that this process inherited and may write to) or a path: a file,
    /// which is appended to and made when it is missing, a pipe that somebody reads, or a character device. Open it
    /// before anything else, so that no descriptor of our own is taken for an inherited one.
    SystemError open(const Text& name);
    /// Lasts as long as this object; goes nowhere when `open` failed.
    EventStream stream() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace tovlark
