#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "app/session/Progress.h"
#include "base/Clock.h"
#include "platform/EventStream.h"

namespace tovlark {

enum class MessageLevel : std::uint8_t {
    Log,   // a line of the message log only
    Note,  // a line that people see
    Error  // a line that tells of a failure
};

/// Writes what happens as lines of JSON for scripts, as docs/events.md describes. A line that the stream refuses is
/// dropped; the next that goes out tells how many were. Safe to use from several threads.
class EventWriter {
public:
    EventWriter(const EventStream& stream, const Clock& clock);
    EventWriter(const EventWriter&) = delete;

    void step(const Progress& progress);
    void progress(const Progress& progress);
    /// A question as it is asked, without an answer, and once it is answered. An empty caption: there is none.
    void prompt(TextView caption, TextView text, std::span<const TextView> answers, std::optional<TextView> answer);
    /// Line ends around the text are left out. A line that people saw and that goes to the log next is told once.
    void message(TextView text, MessageLevel level);
    /// The last line: whatever comes later is not told.
    void result(int status);

private:
    template <typename Fill>
    void tell(const char* kind, Fill fill);

    EventStream stream_;
    const Clock& clock_;
    const std::uint64_t began_;
    std::mutex lock_;
    std::uint64_t dropped_ = 0;
    Text lastShown_;
};

}  // namespace tovlark
