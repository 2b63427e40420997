#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

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

    explicit MessageLog(const Clock& clock) : clock_(clock) {}
    MessageLog(const MessageLog&) = delete;

    void append(Text text);
    std::vector<Line> lines() const;
    /// All lines as UTF-8, "yyyy-mm-dd hh:mm:ss text" each, CR LF ends.
    std::string render() const;

private:
    const Clock& clock_;
    mutable std::mutex lock_;
    std::deque<Line> lines_;
};

}  // namespace tovlark
