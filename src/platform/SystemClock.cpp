#include "platform/SystemClock.h"

#include <chrono>
#include <thread>

#include "platform/LocalTime.h"

namespace tovlark {

namespace {

std::uint64_t Milliseconds(void*) {
    using namespace std::chrono;
    return static_cast<std::uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

void Sleep(void*, std::uint32_t milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

UnixSeconds Now(void*) {
    using namespace std::chrono;
    return floor<seconds>(system_clock::now()).time_since_epoch().count();
}

std::int32_t LocalOffset(void*, UnixSeconds when) { return LocalOffsetAt(when); }

bool IsAsciiLetter(char16_t unit) { return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z'); }

}  // namespace

Clock SystemClock() {
    return {.self = nullptr, .milliseconds = Milliseconds, .sleep = Sleep, .now = Now, .localOffset = LocalOffset};
}

Text NormalDatePattern(TextView pattern) {
    Text result, pending;
    std::size_t days = 0, months = 0, years = 0;
    char16_t last = 0;
    for (const char16_t unit : pattern) {
        const char16_t letter = unit == u'M' ? u'm' : unit;
        const bool isField = letter == u'd' || letter == u'm' || letter == u'y';
        if (isField && letter != last) {
            // What stands before the first field is no separator.
            if (!result.empty()) result.append(pending);
            pending.clear();
            result.append(letter == u'd' ? u"dd" : letter == u'm' ? u"mm" : u"yyyy");
            ++(letter == u'd' ? days : letter == u'm' ? months : years);
        } else if (!isField && !IsAsciiLetter(unit)) {
            pending.push_back(unit);
        }
        last = letter;
    }
    return days == 1 && months == 1 && years == 1 ? result : Text(u"yyyy-mm-dd");
}

Text ShortDatePattern() { return NormalDatePattern(SystemDatePattern()); }

}  // namespace tovlark
