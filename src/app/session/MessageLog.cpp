#include "app/session/MessageLog.h"

#include "base/Dates.h"
#include "base/Format.h"

namespace tovlark {

namespace {

/// What people see may begin or end with line breaks or hold some; a line of the log is one line.
Text OneLine(TextView text) {
    Text line;
    bool isPending = false;
    for (const char16_t unit : text) {
        const bool isBreak = unit == u'\r' || unit == u'\n';
        if (!isBreak && isPending && !line.empty()) line += u' ';
        if (!isBreak) line += unit;
        isPending = isBreak;
    }
    return line;
}

}  // namespace

void MessageLog::append(Text text) {
    if (whole_ != nullptr) return whole_->append(mark_ + u' ' + OneLine(text));
    text = OneLine(text);
    if (events_ != nullptr) events_->message(text, MessageLevel::Log);
    const UnixSeconds time = clock_.now(clock_.self);
    const std::scoped_lock guard(lock_);
    if (lines_.size() == kMaximumLines) lines_.pop_front();
    lines_.push_back({time, std::move(text)});
}

std::vector<MessageLog::Line> MessageLog::lines() const {
    const std::scoped_lock guard(lock_);
    return {lines_.begin(), lines_.end()};
}

std::string MessageLog::render() const {
    std::string bytes;
    for (const Line& line : lines()) {
        const CalendarTime time = ToLocal(clock_, line.time);
        bytes += ToUtf8(
            FormatText(u"%04d-%02d-%02d %02d:%02d:%02d %s\r\n",
                       {time.year, time.month, time.day, time.hour, time.minute, time.second, TextView(line.text)}));
    }
    return bytes;
}

}  // namespace tovlark
