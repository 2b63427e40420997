#include "app/session/Progress.h"

#include <algorithm>

namespace tovlark {

namespace {

std::uint64_t Rate(std::uint64_t amount, std::uint64_t milliseconds) {
    if (milliseconds == 0) return 0;
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
    return amount > kLargest / 1000 ? amount / milliseconds * 1000 : amount * 1000 / milliseconds;
}

}  // namespace

void Progress::begin(TextView title, std::uint64_t stepTotal, ProgressUnit stepUnit, std::uint64_t nowMilliseconds) {
    *this = {};
    step = title;
    unit = stepUnit;
    total = stepTotal;
    began_ = measured_ = nowMilliseconds;
}

bool Progress::advance(std::uint64_t position, std::uint64_t stepTotal, std::uint64_t nowMilliseconds) {
    done = position;
    total = stepTotal;
    const std::uint64_t span = nowMilliseconds - measured_;
    if (span < kMeasureMilliseconds) return false;
    // Half of the old value: what is a second ago counts for little.
    const std::uint64_t rate = Rate(done - std::min(done, doneThen_), span);
    perSecond = perSecond == 0 ? rate : perSecond / 2 + rate / 2;
    measured_ = nowMilliseconds;
    doneThen_ = done;
    return true;
}

void Progress::finish(std::uint64_t nowMilliseconds) {
    if (isTotalKnown()) done = total;
    perSecond = Rate(done, nowMilliseconds - began_);
}

std::optional<std::uint64_t> Progress::remainingSeconds() const {
    if (!isTotalKnown()) return std::nullopt;
    const std::uint64_t left = total - std::min(done, total);
    if (left == 0) return 0;
    if (perSecond == 0) return std::nullopt;
    return (left - 1) / perSecond + 1;
}

}  // namespace tovlark
