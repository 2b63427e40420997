#include "app/session/EventWriter.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tovlark {

namespace {

using Json = nlohmann::ordered_json;

// Bytes that a text may take, its JSON escapes included. Together with the rest of a line they stay within
// kLongestEventLine.
constexpr std::size_t kLongestTitle = 1024, kLongestCaption = 512, kLongestText = 3072;
constexpr std::string_view kCutMark = "\xE2\x80\xA6";  // U+2026
constexpr char32_t kReplacement = 0xFFFD;
constexpr TextView kLineEnds = u"\r\n";

std::size_t EscapedSize(char32_t point, std::size_t size) {
    if (point < 0x20) return 6;
    return point == U'"' || point == U'\\' ? 2 : size;
}

/// Valid UTF-8, cut where it gets too long.
std::string EventText(TextView text, std::size_t limit) {
    std::string bytes;
    std::size_t cost = 0, cutAt = 0;
    for (std::size_t position = 0; position < text.size();) {
        char32_t point = NextCodePoint(text, position);
        if (point >= 0xD800 && point <= 0xDFFF) point = kReplacement;
        Text unit;
        AppendCodePoint(unit, point);
        const std::string encoded = ToUtf8(unit);
        cost += EscapedSize(point, encoded.size());
        if (cost > limit) return bytes.substr(0, cutAt).append(kCutMark);
        bytes += encoded;
        if (cost + kCutMark.size() <= limit) cutAt = bytes.size();
    }
    return bytes;
}

TextView WithoutLineEnds(TextView text) {
    const std::size_t first = text.find_first_not_of(kLineEnds);
    if (first == TextView::npos) return {};
    return text.substr(first, text.find_last_not_of(kLineEnds) + 1 - first);
}

const char* NameOf(ProgressUnit unit) {
    constexpr const char* kNames[] = {"bytes", "files", "milliseconds"};
    return kNames[static_cast<std::size_t>(unit)];
}

const char* NameOf(MessageLevel level) {
    switch (level) {
        case MessageLevel::Log: return "log";
        case MessageLevel::Note: return "note";
        case MessageLevel::Error: break;
    }
    return "error";
}

Json NumberOrNull(std::optional<std::uint64_t> number) { return number ? Json(*number) : Json(); }

void PutStep(Json& event, const Progress& progress) {
    event["step"] = EventText(progress.step, kLongestTitle);
    event["unit"] = NameOf(progress.unit);
    event["total"] = progress.isTotalKnown() ? Json(progress.total) : Json();
}

}  // namespace

EventWriter::EventWriter(const EventStream& stream, const Clock& clock)
    : stream_(stream), clock_(clock), began_(clock.milliseconds(clock.self)) {}

template <typename Fill>
void EventWriter::tell(const char* kind, Fill fill) {
    if (stream_.write == nullptr) return;
    Json event;
    event["event"] = kind;
    event["time"] = clock_.milliseconds(clock_.self) - began_;
    if (dropped_ > 0) event["dropped"] = dropped_;
    fill(event);
    const std::string line = event.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
    const bool isTaken = line.size() <= kLongestEventLine && stream_.write(stream_.self, line);
    dropped_ = isTaken ? 0 : dropped_ + 1;
}

void EventWriter::step(const Progress& progress) {
    const std::scoped_lock guard(lock_);
    tell("step", [&](Json& event) { PutStep(event, progress); });
}

void EventWriter::progress(const Progress& progress) {
    const std::scoped_lock guard(lock_);
    tell("progress", [&](Json& event) {
        PutStep(event, progress);
        event["done"] = progress.done;
        event["speed"] = progress.perSecond;
        event["remaining"] = NumberOrNull(progress.remainingSeconds());
    });
}

void EventWriter::prompt(TextView caption, TextView text, std::span<const TextView> answers,
                         std::optional<TextView> answer) {
    const std::scoped_lock guard(lock_);
    tell("prompt", [&](Json& event) {
        event["caption"] = caption.empty() ? Json() : Json(EventText(caption, kLongestCaption));
        event["text"] = EventText(WithoutLineEnds(text), kLongestText);
        event["answers"] = Json::array();
        for (const TextView offered : answers) event["answers"].push_back(ToUtf8(offered));
        event["answer"] = answer ? Json(ToUtf8(*answer)) : Json();
    });
}

void EventWriter::message(TextView text, MessageLevel level) {
    if (stream_.write == nullptr) return;
    const std::scoped_lock guard(lock_);
    const TextView line = WithoutLineEnds(text);
    const bool isKnown = level == MessageLevel::Log && line == lastShown_;
    lastShown_ = level == MessageLevel::Log ? TextView() : line;
    if (line.empty() || isKnown) return;
    tell("message", [&](Json& event) {
        event["level"] = NameOf(level);
        event["text"] = EventText(line, kLongestText);
    });
}

void EventWriter::result(int status) {
    const std::scoped_lock guard(lock_);
    tell("result", [&](Json& event) { event["status"] = status; });
    stream_ = {};
}

}  // namespace tovlark
