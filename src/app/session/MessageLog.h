#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "app/session/EventWriter.h"
#include "base/Clock.h"
#include "base/Text.h"

namespace tovlark {

/// Lines of time and text about what happened, for people who look into a failure. Bounded: the oldest lines go
/// first. Safe to use from several threads.
class MessageLog {
public:
    static constexpr std::size_t kMaximumLines = 10000;

    struct Line {
        UnixSeconds time;
        Text text;
    };

    /// Every line is told to the event writer too, if there is one.
    explicit MessageLog(const Clock& clock, EventWriter* events = nullptr) : clock_(clock), events_(events) {}
    /// What one of several does that write to the same log: each line goes into the whole one, behind the mark.
    MessageLog(MessageLog& whole, Text mark)
        : clock_(whole.clock_), events_(nullptr), whole_(&whole), mark_(std::move(mark)) {}
    MessageLog(const MessageLog&) = delete;

    /// Line breaks within the text become blanks.
    void append(Text text);
    std::vector<Line> lines() const;
    /// All lines as UTF-8, "yyyy-mm-dd hh:mm:ss text" each, CR LF ends.
    std::string render() const;

private:
    const Clock& clock_;
    EventWriter* events_;          // may be null
    MessageLog* whole_ = nullptr;  // null: the lines are kept here
    const Text mark_;
    mutable std::mutex lock_;
    std::deque<Line> lines_;
};

}  // namespace tovlark
